#include "io/keypad/issp.h"
#include "tools/unitctl/families.h"
#include "tools/unitctl/keypad_file.h"

#include <array>
#include <cstdio>

namespace tools::unitctl {

namespace {

void require_success(io::issp_result_e result) {
    struct reason_t {
        io::issp_result_e result;
        const char* text;
    };
    constexpr std::array reasons{
        reason_t{io::issp_result_e::no_entry, "the controller does not answer"},
        reason_t{io::issp_result_e::wrong_id, "no answer, or a controller of another type"},
        reason_t{io::issp_result_e::erase_failed, "the erasing did not end"},
        reason_t{io::issp_result_e::block_failed, "no answer to a block command, or a byte differs"},
        reason_t{io::issp_result_e::checksum_failed, "the controller does not tell its byte sum"},
        reason_t{io::issp_result_e::bad_status, "the last command's status is not good"},
    };
    for (const auto& [failure, text] : reasons) {
        if (result == failure) {
            throw refusal_t{text};
        }
    }
}

/// The programming of the page station's keypad controller, its lines connected.
io::issp_t& programming(session_t& session) {
    static io::issp_t issp{io::keypad_lines()};
    static_cast<void>(session.page_station());
    io::keypad_lines().programming_on();
    return issp;
}

void require_block(unsigned block) {
    if (block >= io::keypad_block_count) {
        throw refusal_t{"there are blocks 0 to 63"};
    }
}

/// Takes one of an image's blocks for the next step.
void take_block(io::issp_t& issp, const std::string& path, unsigned block) {
    require_block(block);
    std::uint16_t sum = 0;
    const auto image = read_image(path, sum);
    issp.set_block(std::span{image}.subspan(block * io::keypad_block_size).first<io::keypad_block_size>());
}

void add_lines(CLI::App& keypad, session_t& session) {
    using lines_t = io::keypad_lines_t;
    auto& line =
        add_group(keypad, "line", "The three lines by which it is programmed, one register access each");
    struct line_t {
        const char* name;
        const char* help;
        void (lines_t::*change)();
    };
    for (const auto& [name, help, change] :
         {line_t{"programming-on", "Connects the lines with the controller's pins", &lines_t::programming_on},
          {"programming-off", "Disconnects them", &lines_t::programming_off},
          {"clear", "Lets go of all lines, and disconnects them", &lines_t::clear},
          {"sclk-drive", "Drives SCLK", &lines_t::sclk_drive_on},
          {"sclk-high", "Makes SCLK 1, once it is driven", &lines_t::sclk_high},
          {"sclk-low", "Makes SCLK 0", &lines_t::sclk_low},
          {"sdata-drive", "Drives SDATA", &lines_t::sdata_drive_on},
          {"sdata-release", "Leaves SDATA to the controller", &lines_t::sdata_released},
          {"sdata-high", "Makes SDATA 1, once it is driven", &lines_t::sdata_high},
          {"sdata-low", "Makes SDATA 0", &lines_t::sdata_low},
          {"xres-drive", "Drives XRES", &lines_t::xres_drive_on},
          {"xres-assert", "Holds the controller in reset", &lines_t::xres_asserted},
          {"xres-release", "Lets it run", &lines_t::xres_released}}) {
        add_command(line, name, help, {}, [&session, make = change] {
            static_cast<void>(session.page_station());
            (io::keypad_lines().*make)();
        });
    }
    add_command(line, "sdata", "Prints SDATA: 1 while the lines are disconnected when a key event waits", {},
                [&session] {
                    static_cast<void>(session.page_station());
                    std::printf("%d\n", io::keypad_lines().sdata() ? 1 : 0);
                });
    add_command(line, "shadow", "Prints the word that this process has written last", {}, [&session] {
        static_cast<void>(session.page_station());
        std::printf("%08x\n", io::keypad_lines().line_shadow());
    });
    line.footer("The outputs cannot be read back: each process begins with all of them 0.");
}

void add_plain_steps(CLI::App& step, session_t& session) {
    struct step_t {
        const char* name;
        const char* help;
        io::issp_result_e (io::issp_t::*run)();
    };
    for (const auto& [name, help, run] :
         {step_t{"enter", "Resets the controller and opens its programming mode",
                 &io::issp_t::fXRESInitializeTargetForISSP},
          {"id", "Compares the controller's type", &io::issp_t::fVerifySiliconID},
          {"erase", "Erases its flash", &io::issp_t::fEraseTarget},
          {"status", "Asks whether the last command went well", &io::issp_t::fReadStatus}}) {
        add_command(step, name, help, {},
                    [&session, make = run] { require_success((programming(session).*make)()); });
    }
    add_command(step, "sum", "Prints the byte sum of its flash", {}, [&session] {
        std::uint16_t sum = 0;
        require_success(programming(session).fAccTargetBankChecksum(sum));
        std::printf("0x%04x\n", sum);
    });
    add_command(step, "restart", "Ends the programming and starts its firmware", {}, [&session] {
        programming(session).ReStartTarget();
        io::keypad_lines().programming_off();
        io::keypad_lines().sdata_released();
    });
}

void add_block_steps(CLI::App& step, session_t& session) {
    constexpr operand_t block{"BLOCK", "0 to 63, of 128 bytes"};
    constexpr operand_t image{"IMAGE", "Intel HEX"};
    add_command<unsigned, std::string>(
        step, "load", "Writes a block of an image to its memory; prints the bytes' sum", {{block, image}},
        [&session](unsigned number, const std::string& path) {
            auto& issp = programming(session);
            take_block(issp, path, number);
            std::printf("0x%04x\n", issp.LoadTarget());
        });
    struct step_t {
        const char* name;
        const char* help;
        io::issp_result_e (io::issp_t::*run)(unsigned);
    };
    for (const auto& [name, help, run] :
         {step_t{"program", "Writes what is loaded to a block of its flash",
                 &io::issp_t::fProgramTargetBlock},
          {"fetch", "Makes it read a block of its flash", &io::issp_t::fVerifySetup}}) {
        add_command<unsigned>(step, name, help, {{block}}, [&session, make = run](unsigned number) {
            require_block(number);
            require_success((programming(session).*make)(number));
        });
    }
    add_command<unsigned, std::string>(
        step, "compare", "Compares what it has fetched with a block of an image", {{block, image}},
        [&session](unsigned number, const std::string& path) {
            auto& issp = programming(session);
            take_block(issp, path, number);
            require_success(issp.fReadByteLoop());
        });
}

/// The bits of a text of 0 and 1, eight a byte, the first one on top.
std::vector<std::uint8_t> bits_of(const std::string& text) {
    if (text.empty() || text.find_first_not_of("01") != std::string::npos) {
        throw CLI::ValidationError{"BITS", "bits are a word of 0 and 1"};
    }
    std::vector<std::uint8_t> bytes((text.size() + 7) / 8);
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '1') {
            bytes[at / 8] = static_cast<std::uint8_t>(bytes[at / 8] | 0x80U >> at % 8);
        }
    }
    return bytes;
}

void add_sending(CLI::App& bit, session_t& session) {
    add_command<std::uint8_t, std::optional<unsigned>>(
        bit, "byte", "Sends a byte, or its top bits; SDATA has to be driven",
        {{{"BYTE", "0 to 255"}, {"COUNT", "How many of its bits, 1 to 8 (8)"}}},
        [&session](std::uint8_t byte, const std::optional<unsigned>& count) {
            if (count.value_or(8) < 1 || count.value_or(8) > 8) {
                throw refusal_t{"a byte has 1 to 8 bits"};
            }
            programming(session).SendByte(byte, count.value_or(8));
        });
    add_command<std::string>(bit, "vector", "Drives SDATA, sends bits and releases SDATA",
                             {{{"BITS", "0 and 1, the first one first"}}},
                             [&session](const std::string& text) {
                                 const auto bits = bits_of(text);
                                 programming(session).SendVector(bits, text.size());
                             });
    add_command<unsigned>(bit, "clock", "Makes SCLK 0 and 1 so many times; leaves it 1",
                          {{{"COUNT", "1 to 10000"}}}, [&session](unsigned count) {
                              if (count < 1 || count > 10'000) {
                                  throw refusal_t{"there are 1 to 10000 clocks at once"};
                              }
                              programming(session).RunClock(count);
                          });
}

void add_receiving(CLI::App& bit, session_t& session) {
    add_command(bit, "read", "Makes a clock and prints the bit that the controller sends", {},
                [&session] { std::printf("%d\n", programming(session).bReceiveBit() ? 1 : 0); });
    add_command(bit, "read-byte", "Prints the byte that the controller sends", {},
                [&session] { std::printf("0x%02x\n", programming(session).bReceiveByte()); });
    add_command(bit, "wait",
                "Waits until SDATA has gone high and low again, which ends what it was told to do", {},
                [&session] {
                    if (programming(session).fDetectHiLoTransition() != 0) {
                        throw refusal_t{"SDATA did not go high and low again"};
                    }
                });
}

}  // namespace

void add_keypad_steps(CLI::App& keypad, session_t& session) {
    add_lines(keypad, session);
    auto& step = add_group(keypad, "step", "The steps of its programming, one by one, in a script");
    step.footer("enter comes first, restart last; in between the controller does not report keys.");
    add_plain_steps(step, session);
    add_block_steps(step, session);
    auto& bit = add_group(keypad, "bit", "What its programming's steps are made of, in a script");
    bit.footer("keypad step enter comes first; before a byte sent, keypad line sdata-drive.");
    add_sending(bit, session);
    add_receiving(bit, session);
}

}  // namespace tools::unitctl
