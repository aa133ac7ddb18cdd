// The property tool: its command line, and what an engine answers to it.
//
// Input: words of the command line, one a line, up to an empty line; then the bytes of the engine, which is
// gone after them.

#include "fuzz/engine_end.h"
#include "fuzz/harness.h"
#include "tools/property_tool.h"

#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using tools::property_tool_t;
    // Nobody takes the requests: they have to fit the socket, or the tool waits.
    constexpr std::size_t most_words = 16;
    constexpr std::size_t most_bytes = 4096;
    static fuzz::engine_end_t engine;
    static std::FILE* const nowhere = std::fopen("/dev/null", "w");
    if (size > most_bytes) {
        return 0;
    }
    fuzz::input_t input{data, size};
    property_tool_t::words_t words;
    for (auto word = input.line(); !word.empty() && words.size() < most_words; word = input.line()) {
        words.emplace_back(word);
    }

    zel::property_client_t client;
    fuzz::require(client.connect(), "a client can connect");
    engine.accept();
    fuzz::require(engine.say(input.rest()), "the answers fit the socket");
    engine.say_no_more();
    const int status = property_tool_t{client, nowhere, nowhere}.run(words);
    fuzz::require(status >= property_tool_t::done && status <= property_tool_t::no_engine,
                  "an exit status is one of the four");
    fuzz::require(!words.empty() || status == property_tool_t::bad_usage, "a command is needed");
    return 0;
}
