#include "sim/board/fpga.h"

#include "sim/board/board.h"
#include "sim/root/violations.h"

#include <cstdio>
#include <utility>

namespace sim {

namespace {

std::string at(std::uint32_t offset) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%06x", offset);
    return text;
}

std::unique_ptr<fpga_t>& board() {
    static auto& instance = *new std::unique_ptr<fpga_t>;
    return instance;
}

std::function<std::unique_ptr<fpga_t>()>& board_factory() {
    static auto& instance = *new std::function<std::unique_ptr<fpga_t>()>{build_board_of_this_unit};
    return instance;
}

}  // namespace

std::uint32_t device_t::read32(std::uint32_t offset) {
    report_violation("no register to read at " + at(offset) + " of the device");
    return 0;
}

void device_t::write32(std::uint32_t offset, std::uint32_t value) {
    report_violation("no register to write at " + at(offset) + " of the device, value " + at(value));
}

std::uint8_t device_t::read8(std::uint32_t offset) {
    report_violation("no byte port to read at " + at(offset) + " of the device");
    return 0;
}

void device_t::write8(std::uint32_t offset, std::uint8_t value) {
    report_violation("no byte port to write at " + at(offset) + " of the device, value " + at(value));
}

void device_t::add_readable(std::vector<std::uint32_t>& offsets, std::uint32_t offset, const device_t& part) {
    for (const auto place : part.readable()) {
        offsets.push_back(offset + place);
    }
}

void fpga_t::plug(std::uint32_t offset, std::uint32_t length, std::shared_ptr<device_t> device) {
    auto readable = device->readable();
    slots_.push_back({offset, length, std::move(device), std::move(readable)});
}

fpga_t::slot_t* fpga_t::owner_of(std::uint32_t offset) {
    for (auto& slot : slots_) {
        if (offset >= slot.offset && offset - slot.offset < slot.length) {
            return &slot;
        }
    }
    report_violation("no device owns offset " + at(offset));
    return nullptr;
}

void fpga_t::note(bus_access_t::kind_e kind, std::uint32_t offset, std::uint32_t value) {
    ++access_count_;
    if (recording_) {
        recorded_.push_back({kind, offset, value});
    }
}

std::uint32_t fpga_t::read32(std::uint32_t offset) {
    auto* const slot = owner_of(offset);
    const auto value = slot == nullptr ? 0 : slot->device->read32(offset - slot->offset);
    note(bus_access_t::kind_e::read32, offset, value);
    return value;
}

void fpga_t::write32(std::uint32_t offset, std::uint32_t value) {
    note(bus_access_t::kind_e::write32, offset, value);
    if (auto* const slot = owner_of(offset)) {
        slot->device->write32(offset - slot->offset, value);
    }
}

void fpga_t::slot_t::read(const take_t& take) const {
    for (const auto place : readable) {
        take(offset + place, device->read32(place));
    }
}

void fpga_t::read_all(const take_t& take) {
    for (const auto& slot : slots_) {
        slot.read(take);
    }
}

void fpga_t::read_owner(std::uint32_t offset, const take_t& take) {
    if (const auto* const slot = owner_of(offset)) {
        slot->read(take);
    }
}

std::uint8_t fpga_t::read8(std::uint32_t offset) {
    auto* const slot = owner_of(offset);
    const auto value = slot == nullptr ? std::uint8_t{0} : slot->device->read8(offset - slot->offset);
    note(bus_access_t::kind_e::read8, offset, value);
    return value;
}

void fpga_t::write8(std::uint32_t offset, std::uint8_t value) {
    note(bus_access_t::kind_e::write8, offset, value);
    if (auto* const slot = owner_of(offset)) {
        slot->device->write8(offset - slot->offset, value);
    }
}

fpga_t* fpga() {
    return board().get();
}

void set_fpga(std::unique_ptr<fpga_t> new_board) {
    board() = std::move(new_board);
}

void set_fpga_factory(std::function<std::unique_ptr<fpga_t>()> factory) {
    board_factory() = std::move(factory);
}

fpga_t* fpga_or_build() {
    if (!board() && board_factory()) {
        board() = board_factory()();
    }
    return fpga();
}

}  // namespace sim
