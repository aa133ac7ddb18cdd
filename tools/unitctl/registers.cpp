#include "io/mmio.h"
#include "io/spi.h"
#include "io/spi_regs.h"
#include "tools/unitctl/families.h"
#include "tools/unitctl/register_names.h"

#include <algorithm>
#include <cstdio>

namespace tools::unitctl {

namespace {

constexpr std::uint32_t fpga_length = 0x100'0000;
constexpr std::uint32_t shared_length = 268'936;

/// Where `length` bytes of registers lie in this process; refuses what is not wholly inside of its region.
std::byte* address_of(session_t& session, const register_t& place, std::uint32_t length) {
    session.open();
    auto* const base = place.in_shared_region ? io::system_t::shared_base() : io::system_t::fpga_base();
    if (base == nullptr) {
        throw refusal_t{"this unit has no FPGA that can be mapped"};
    }
    const auto region_length = place.in_shared_region ? shared_length : fpga_length;
    if (place.offset > region_length - length) {
        throw refusal_t{"the region ends before that"};
    }
    if (!place.is_byte && place.offset % 4 != 0) {
        throw refusal_t{"a word lies at a multiple of four; --byte reaches the others"};
    }
    return base + place.offset;
}

std::byte* address_of(session_t& session, const register_t& place) {
    return address_of(session, place, place.is_byte ? 1 : 4);
}

register_t named_place(const std::string& text, bool is_byte) {
    auto place = find_register(text);
    if (!place) {
        throw refusal_t{"no register is called \"" + text + "\"; see unitctl reg list"};
    }
    place->is_byte = place->is_byte || is_byte;
    return *place;
}

void read(session_t& session, register_t place, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto* const address = address_of(session, place);
        const std::string region = place.in_shared_region ? "shared " : "";
        const auto name = std::string{name_of(place)};
        if (place.is_byte) {
            std::printf("%s%06x %02x", region.c_str(), place.offset, io::mmio::read8(address));
        } else {
            std::printf("%s%06x %08x", region.c_str(), place.offset, io::mmio::read32(address));
        }
        std::printf("%s%s\n", name.empty() ? "" : "  ", name.c_str());
        place.offset += place.is_byte ? 1 : 4;
    }
}

void write(session_t& session, const register_t& place, std::uint32_t value) {
    auto* const address = address_of(session, place);
    if (!place.is_byte) {
        io::mmio::write32(address, value);
    } else if (value <= 0xFF) {
        io::mmio::write8(address, static_cast<std::uint8_t>(value));
    } else {
        throw refusal_t{"a byte goes up to 255"};
    }
}

/// The registers of an SPI controller, by its name or by its offset. Other names have a control register,
/// too, but are no SPI controllers: what a transfer writes would reset them.
std::byte* spi_at(session_t& session, const std::string& text) {
    constexpr std::uint32_t length =
        io::spi_regs::receive + io::spi_regs::data_stride * io::spi_regs::data_words;
    const bool is_offset = text.find_first_of("0123456789") == 0;
    const auto block = text.ends_with(".spi") ? find_register(text + ".control") : std::nullopt;
    if (!is_offset && !block) {
        throw refusal_t{"no SPI controller is called \"" + text +
                        "\"; there are front_panel.spi, page_station.spi and controller.spi"};
    }
    return address_of(session, is_offset ? named_place(text, false) : *block, length);
}

void transfer(session_t& session, const std::string& text, io::spi_t& spi, bool reads,
              const std::vector<std::uint16_t>& words) {
    auto* const registers = spi_at(session, text);
    if (words.size() > spi.transmit.size() || (spi.bit_count > 16 * spi.receive.size() && !session.force)) {
        throw refusal_t{"a transfer has sixteen words at most"};
    }
    session.claim_display();
    std::ranges::copy(words, spi.transmit.begin());
    if (!spi.set_base(registers) || !spi.transfer(reads)) {
        throw refusal_t{""};
    }
    if (!reads) {
        return;
    }
    for (std::size_t i = 0; i < std::min<std::size_t>((spi.bit_count + 15) / 16, spi.receive.size()); ++i) {
        std::printf("%s%04x", i == 0 ? "" : " ", spi.receive.at(i));
    }
    std::puts("");
}

void add_spi(CLI::App& reg, session_t& session) {
    struct settings_t {
        std::uint32_t rate = 1'000'000;
        std::uint32_t mode = 0;
        bool option_a = false;
        bool option_b = false;
        bool reads_nothing = false;
    };
    const auto settings = std::make_shared<settings_t>();
    auto& spi = add_command<std::string, std::uint32_t, std::vector<std::uint16_t>>(
        reg, "spi", "Makes one transfer and prints the words received",
        {{{"PLACE", "front_panel.spi, page_station.spi, controller.spi, or an offset"},
          {"BITS", "1 to 256"},
          {"WORD", "Words to send, the most significant bit first"}}},
        [&session, settings](const std::string& text, std::uint32_t bits,
                             const std::vector<std::uint16_t>& words) {
            io::spi_t controller;
            controller.bit_count = bits;
            controller.bit_rate = settings->rate;
            controller.mode = settings->mode;
            controller.option_a = settings->option_a ? 1 : 0;
            controller.option_b = settings->option_b ? 1 : 0;
            transfer(session, text, controller, !settings->reads_nothing, words);
        });
    spi.add_option("--rate", settings->rate, "Bits per second (1000000)")->transform(decimal_unless_0x());
    spi.add_option("--mode", settings->mode, "Clock polarity and phase, 0 to 3 (0)")
        ->transform(decimal_unless_0x());
    spi.add_flag("--option-a", settings->option_a, "Set bit 5 of the control register");
    spi.add_flag("--option-b", settings->option_b, "Set bit 6 of the control register");
    spi.add_flag("--no-read", settings->reads_nothing, "Leave the words received where they are");
}

void list() {
    for (const auto& entry : named_registers()) {
        std::printf("%s%06x  %-2s  %-5s %s\n", entry.place.in_shared_region ? "shared " : "       ",
                    entry.place.offset, entry.access, entry.place.is_byte ? "byte" : "", entry.name.c_str());
    }
}

}  // namespace

void add_register_commands(CLI::App& app, session_t& session) {
    auto& reg = add_group(
        app, "reg",
        "Raw registers, values as the FPGA counts their bits; asks no driver and, but for spi, no daemon");
    constexpr operand_t where{"PLACE", "A name, an offset in the FPGA region, or \"shared\"; and +OFFSET"};
    const auto is_byte = std::make_shared<bool>(false);
    add_command<std::string, std::optional<std::uint32_t>>(
        reg, "read", "Prints registers; reading may change some",
        {{where, {"COUNT", "How many in a row (1)"}}},
        [&session, is_byte](const std::string& text, std::optional<std::uint32_t> count) {
            read(session, named_place(text, *is_byte), count.value_or(1));
        })
        .add_flag("--byte", *is_byte, "Eight bits rather than a word");
    add_command<std::string, std::uint32_t>(
        reg, "write", "Writes a register", {{where, {"VALUE", "0x... is hexadecimal"}}},
        [&session, is_byte](const std::string& text, std::uint32_t value) {
            write(session, named_place(text, *is_byte), value);
        })
        .add_flag("--byte", *is_byte, "Eight bits rather than a word");
    add_spi(reg, session);
    add_command(reg, "list", "Lists the names", {}, list);
}

}  // namespace tools::unitctl
