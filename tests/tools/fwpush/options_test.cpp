#include "tests/golden.h"
#include "tools/fwpush/options.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// What fwpush makes of a command line, or says to it.
std::string understood(const std::string& line) {
    std::istringstream words{"fwpush " + line};
    std::vector<std::string> texts{std::istream_iterator<std::string>{words}, {}};
    std::vector<char*> arguments(texts.size());
    std::transform(texts.begin(), texts.end(), arguments.begin(), [](auto& text) { return text.data(); });
    int exit_status = -1;
    testing::internal::CaptureStderr();
    const auto options =
        fwpush::read_options(static_cast<int>(arguments.size()), arguments.data(), exit_status);
    std::ostringstream result;
    result << "$ fwpush " << line << "\n" << testing::internal::GetCapturedStderr();
    if (!options) {
        result << "status " << exit_status << "\n\n";
        return result.str();
    }
    result << "image " << options->image << ", units";
    for (const auto& unit : options->units) {
        result << " [" << unit << "]";
    }
    result << ", jobs " << options->jobs << ", force " << options->force << ", await_return "
           << options->await_return << ", min_compat " << options->min_compat << "\ntimeout "
           << options->timeout.count() << ", grace " << options->grace.count() << ", stall "
           << options->stall.count() << ", user " << options->user << ", ca_file " << options->ca_file
           << ", json " << options->json << ", progress " << options->progress << "\n\n";
    return result.str();
}

constexpr const char* command_lines =
    R"(i x
i x [fd00::7] --units fwpush_units --units fwpush_units
--watch x
--watch --grace 7 x
--jobs 1 --jobs 100000 --force --await-return --min-compat 7 --timeout 0.1 --grace 0 --stall 86400 i x
--user me:secret --cacert fwpush_units --json --no-progress i x
--timeout 86400 --grace 86400 --stall 0.0015 --jobs 1 i x

i
--watch
--watch --force x
--watch --await-return x
--watch --min-compat 1 x
--jobs 0 i x
--jobs 100001 i x
--timeout 0.09 i x
--timeout 86401 i x
--grace -1 i x
--grace 86401 i x
--stall -1 i x
--stall nan i x
--stall 86401 i x
--cacert /nonexistent i x
--units /nonexistent i
--units / i
--nonsense i x
--user me i x
)";

TEST(options, are_read_or_what_is_wrong_with_them_is_said) {
    ASSERT_EQ(::chdir(testing::TempDir().c_str()), 0);
    std::ofstream{"fwpush_units"} << "# all of them\n\n hall-1 # one\n\thall-2:8080\t\r\n#hall-3\nhall-4";
    ASSERT_NE(std::freopen("/dev/null", "r", stdin), nullptr);
    std::istringstream lines{command_lines};
    std::string listing;
    for (std::string line; std::getline(lines, line);) {
        listing += understood(line);
    }
    ::setenv("FWPUSH_PASSWORD", "secret", 1);
    listing += understood("--user me i x") + understood("--user me: i x");
    EXPECT_EQ(listing, tests::golden_text("options.txt", listing));
    std::remove("fwpush_units");
}

}  // namespace
