#include "io/sysfs_file.h"
#include "tools/unitctl/families.h"

#include <cstdio>

namespace tools::unitctl {

void add_attribute_commands(CLI::App& app, session_t& /*session*/) {
    auto& attribute = add_group(app, "attribute", "The kernel's attribute files, as the drivers use them");
    constexpr operand_t path{"PATH", "Such as /sys/class/gpio/gpio113/value"};
    add_command<std::string>(attribute, "read", "Prints the decimal number that a file begins with", {{path}},
                             [](const std::string& file) {
                                 const auto number = io::sysfs_file::read_integer(file);
                                 if (!number) {
                                     throw refusal_t{"there is no number in " + file};
                                 }
                                 std::printf("%d\n", *number);
                             });
    add_command<std::string, std::string>(
        attribute, "write", "Writes a text into a file; what the kernel says to it is not asked",
        {{path, {"TEXT", "As it is, without a line end"}}},
        [](const std::string& file, const std::string& text) {
            if (!io::sysfs_file::write(file, text)) {
                throw refusal_t{"cannot open " + file};
            }
        });
}

}  // namespace tools::unitctl
