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

}  // namespace

void add_keypad_steps(CLI::App& keypad, session_t& session) {
    add_lines(keypad, session);
    auto& step = add_group(keypad, "step", "The steps of its programming, one by one, in a script");
    step.footer("enter comes first, restart last; in between the controller does not report keys.");
    add_plain_steps(step, session);
    add_block_steps(step, session);
}

}  // namespace tools::unitctl
