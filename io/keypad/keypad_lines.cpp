#include "io/keypad/keypad_lines.h"

#include "io/keypad/keypad_line_regs.h"
#include "io/mmio.h"

namespace io {

namespace {

namespace outputs = keypad_line_regs::outputs;

}  // namespace

void keypad_line_outputs_t::write(std::uint32_t word) {
    shadow_ = word;
    if (register_ != nullptr) {
        mmio::write32(register_, shadow_);
    }
}

void keypad_lines_t::set_register(std::byte* address) {
    outputs_.set_register(address);
    inputs_ = address;
}

void keypad_lines_t::programming_on() {
    outputs_.set(outputs::programming);
}

void keypad_lines_t::programming_off() {
    outputs_.clear(outputs::programming);
}

void keypad_lines_t::sclk_high() {
    outputs_.set(outputs::sclk);
}

void keypad_lines_t::sclk_low() {
    outputs_.clear(outputs::sclk);
}

void keypad_lines_t::sclk_drive_on() {
    outputs_.set(outputs::sclk_drive);
}

void keypad_lines_t::sdata_high() {
    outputs_.set(outputs::sdata);
}

void keypad_lines_t::sdata_low() {
    outputs_.clear(outputs::sdata);
}

void keypad_lines_t::sdata_drive_on() {
    outputs_.set(outputs::sdata_drive);
}

void keypad_lines_t::sdata_released() {
    outputs_.clear(outputs::sdata_drive);
}

void keypad_lines_t::xres_drive_on() {
    outputs_.set(outputs::xres_drive);
}

void keypad_lines_t::xres_asserted() {
    outputs_.set(outputs::xres);
}

void keypad_lines_t::xres_released() {
    outputs_.clear(outputs::xres);
}

bool keypad_lines_t::sdata() const {
    return inputs_ != nullptr && keypad_line_regs::inputs::sdata.get(mmio::read32(inputs_)) != 0;
}

keypad_lines_t& keypad_lines() {
    static auto& instance = *new keypad_lines_t;
    return instance;
}

}  // namespace io
