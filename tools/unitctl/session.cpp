#include "tools/unitctl/session.h"

#include "io/lcd/fonts.h"
#include "io/lcd/graphics.h"
#include "io/platform_tables.h"
#include "ipc/property_client.h"
#include "platform/identity.h"
#include "tools/unitctl/bus_trace.h"
#include "tools/unitctl/daemon_search.h"
#include "tools/unitctl/refusal.h"
#include "tools/unitctl/signals.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <thread>
#include <utility>

namespace tools::unitctl {

namespace {

std::optional<zel::platform_t> read_identity() {
    constexpr int answer_timeout_ms = 1000;
    zel::property_client_t client;
    if (!client.connect()) {
        return std::nullopt;
    }
    return zel::read_platform([&client](const std::string& name, std::string& value) {
        return client.wait_for_something(name, value, answer_timeout_ms);
    });
}

}  // namespace

void session_t::open() {
    if (is_open_) {
        return;
    }
    is_open_ = true;
    auto identity = read_identity();
    is_identified_ = identity.has_value();
    if (identity) {
        zel::set_platform_identity(std::move(*identity));
    } else {
        std::fputs("unitctl: the property engine does not tell what this unit is; going by its FPGA alone\n",
                   stderr);
    }
    [[maybe_unused]] const auto& root = io::hardware_root();
    // Whoever used the LCD last has started it, or nobody did: "lcd start" is a command of its own.
    io::graphics().mark_initialised();
}

bool session_t::is_on(platforms_t platforms) {
    open();
    return std::ranges::find(platforms, io::system_t::platform_id()) != platforms.end();
}

io::control_t& session_t::controller(platforms_t without_fpga) {
    auto& controller = io::control();
    if (is_on(without_fpga) || cold) {
        return controller;
    }
    if (!io::system_t::ready()) {
        throw refusal_t{"this unit has no FPGA that can be mapped"};
    }
    // Where the status input is a line of the processor, the bring-up takes that away from whoever holds it.
    if (!controller_up_ && !is_on(io::platform_tables::with_gpio_line)) {
        require_done([&] { return controller.initialise(true); });
        controller_up_ = true;
    }
    return controller;
}

io::front_panel_t& session_t::front_panel() {
    open();
    claim_display();
    auto& panel = io::front_panel();
    if (!cold && !panel_up_) {
        if (!panel.initialise(false)) {
            throw refusal_t{"this unit has no front panel, or none that answers"};
        }
        panel_up_ = true;
        io::graphics().init_graphics();
        io::graphics().select_font(&io::text_font);
    }
    return panel;
}

io::page_station_t& session_t::page_station() {
    open();
    claim_display();
    auto& station = io::page_station();
    if (!cold && !station_up_) {
        if (!station.init(false)) {
            throw refusal_t{"this unit is no page station"};
        }
        station_up_ = true;
    }
    return station;
}

bool session_t::lcd_is_page_stations() {
    open();
    const bool is_station = io::system_t::is_page_station();
    if (is_station) {
        static_cast<void>(page_station());
    } else {
        static_cast<void>(front_panel());
    }
    return is_station;
}

io::io_lx4s_t& session_t::serial_panel() {
    open();
    claim_display();
    auto& panel = io::serial_panel();
    if (!cold && !serial_up_) {
        if (!(force ? panel.open() : panel.init(true))) {
            throw refusal_t{"this unit has no serial panel, or none that answers"};
        }
        serial_up_ = true;
    }
    return panel;
}

bool session_t::close_serial_panel() {
    auto& panel = serial_panel();
    serial_up_ = false;
    return panel.close();
}

void session_t::require_shown() {
    if (!io::graphics().is_held() && !io::graphics().frame().dirty().empty()) {
        throw refusal_t{"the LCD has not taken what was drawn"};
    }
}

void session_t::claim_display() const {
    const auto daemon = force ? std::nullopt : find_daemon();
    if (daemon) {
        throw refusal_t{"fwstatus is running (process " + std::to_string(*daemon) +
                        ") and holds the display; --force goes on all the same"};
    }
}

void session_t::set_trace(trace_e trace) {
    trace_ = trace;
    bus_trace().keep(trace == trace_e::all);
}

void session_t::print_accesses() const {
    const auto count = bus_trace().take_count();
    const auto text = bus_trace().take_text();
    std::fputs(text.c_str(), stdout);
    if (trace_ == trace_e::count) {
        std::printf("  %llu accesses\n", static_cast<unsigned long long>(count));
    }
}

void session_t::repeat(std::chrono::milliseconds period, std::chrono::milliseconds limit,
                       const std::function<bool()>& step) const {
    const caught_signals_t caught{caught_signals_t::then_e::forget};
    for (auto spent = period; step() && !caught_signals_t::any() && (limit.count() == 0 || spent <= limit);
         spent += period) {
        print_accesses();
        std::this_thread::sleep_for(period);
    }
}

}  // namespace tools::unitctl
