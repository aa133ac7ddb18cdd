#include "sim/programs/small_program.h"

#include "platform/version.h"

#include <algorithm>
#include <cstdio>

namespace sim {

int run_program(const small_program_t& program, int argc, char** argv) {
    try {
        const small_program_t::words_t words{argv + 1, argv + argc};
        const auto asks_for = [&](const char* option) {
            return std::ranges::find(words, option) != words.end();
        };
        if (asks_for("-h") || asks_for("--help")) {
            std::fputs(program.help, stdout);
            return 0;
        }
        if (asks_for("--version")) {
            std::puts(zel::version_text().data());
            return 0;
        }
        if (words.size() > program.most_words) {
            throw wrong_usage_t{"what is \"" + words.back() + "\"?"};
        }
        return program.run(words);
    } catch (const wrong_usage_t& error) {
        std::fprintf(stderr, "%s: %s\n%s", program.name, error.what(), program.help);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", program.name, error.what());
        return 1;
    }
}

}  // namespace sim
