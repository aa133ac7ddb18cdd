#pragma once

#include "sim/board/fpga.h"
#include "sim/board/spi_controller.h"
#include "sim/board/temperature_sensor.h"

#include <cstdint>

namespace sim {

/// What the unit registers, fans and lamps show outside, in physical quantities.
struct control_block_state_t {
    // Inputs, for a test to set
    std::uint32_t revision = 3;
    bool status_input = false;
    std::uint32_t input_lines = 0;  ///< five lines, lowest first
    double fan_rpm[2] = {3000, 2900};
    temperature_sensor_t::state_t sensor;

    // Outputs, as the hardware shows them
    bool outputs[3] = {};
    std::uint32_t last_command = 0;
    double alert_hz = 0;
    double alert_duty = 0.5;  ///< share of the period, 0..1
    bool alert_on = false;
    std::uint32_t pulses = 0;
    double level = 0;  ///< -1..1
    bool level_output = false;
    double fan_drive[2] = {};  ///< -1..1
    bool fan_fixed[2] = {};
    double lamp[2] = {};  ///< 0..1

    spi_link_t sensor_link;

    // What was last written to the registers
    std::uint32_t enables_register = 0;
    std::uint32_t alert_register = 0;
    std::uint32_t level_register = 0;
    bool pulse_begun = false;
};

/// The registers at the start of the region: identification, output enables, commands, alert, level.
class unit_registers_t : public device_t {
  public:
    static constexpr std::uint32_t block_length = 0x20;

    unit_registers_t(std::uint32_t fpga_id, control_block_state_t& state)
        : fpga_id_{fpga_id}, state_{state} {}

    std::uint32_t read32(std::uint32_t offset) override;
    void write32(std::uint32_t offset, std::uint32_t value) override;
    [[nodiscard]] std::vector<std::uint32_t> readable() const override {
        return {0x00, 0x04, 0x0C, 0x10, 0x1C};
    }

  private:
    void write_enables(std::uint32_t value);
    void write_alert(std::uint32_t value);
    void write_level(std::uint32_t value);

    std::uint32_t fpga_id_;
    control_block_state_t& state_;
};

/// Two fans with tachometers and two lamps.
class fan_and_lamp_block_t : public device_t {
  public:
    static constexpr std::uint32_t block_length = 0x24;

    /// @param clock_hz  the board's clock, in whose ticks the tachometers count.
    fan_and_lamp_block_t(double clock_hz, control_block_state_t& state)
        : clock_hz_{clock_hz}, state_{state} {}

    std::uint32_t read32(std::uint32_t offset) override;
    void write32(std::uint32_t offset, std::uint32_t value) override;
    [[nodiscard]] std::vector<std::uint32_t> readable() const override { return {12, 20}; }

  private:
    double clock_hz_;
    control_block_state_t& state_;
};

/// Plugs all of it into a board, with the sensor's SPI controller. The state must outlive the board.
void plug_control_block(fpga_t& board, std::uint32_t fpga_id, double clock_hz, control_block_state_t& state);

}  // namespace sim
