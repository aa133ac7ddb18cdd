#include "sim/unit/unit.h"

#include "platform/paths.h"
#include "sim/board/keypad_setup.h"
#include "sim/root/shared_state.h"

#include <stdexcept>
#include <thread>
#include <utility>

namespace sim {

namespace {

using namespace std::chrono_literals;

constexpr std::string_view every_level_trace =
    "SPDLOG_LEVEL=drv_io=trace,drv_io_page_station=trace,drv_io_lx4s=trace,lin_ipc=trace,lin_property=trace,"
    "eng_daemon=trace";

}  // namespace

void publish_identity(engine_t& engine, const unit_properties_t& properties) {
    const auto publish = [&](const char* name, std::string_view value) {
        engine.set("/sys/config/" + std::string{name}, std::string{value});
    };
    publish("arch", properties.arch);
    publish("platform", properties.platform);
    publish("part_number", properties.part_number);
    publish("fw_server_crc", properties.fw_server_crc);
    publish("fw_server_hash", properties.fw_server_hash);
    publish("fw_server_crc_compat", properties.fw_server_crc_compat);
    publish("fw_server_hash_compat", properties.fw_server_hash_compat);
}

bool wait_until(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

unit_t::unit_t(const unit_definition_t& definition, serial_manners_t serial_manners) : root_{definition} {
    publish_identity(engine_, definition.properties);
    if (definition.has_serial_panel) {
        serial_module_ = std::make_unique<serial_module_t>(shared_state<serial_display_t>("serial"),
                                                           std::move(serial_manners));
        serial_module_->connect(root_.file(zel::paths::serial_front_panel));
    }
    if (definition.has_page_station) {
        set_up_keypad(root_, keypad_setup_e::up_to_date);
    }
    status_ = std::make_unique<status_watcher_t>(
        root_.file(std::string{zel::paths::www_directory} + "fw_status.xml"));
}

int unit_t::start_daemon(const std::vector<std::string>& wrapper) {
    auto command = wrapper;
    for (const auto& word : emulator_command()) {
        command.push_back(word);
    }
    command.push_back(built_program("sim/unit", "fwstatus-sim"));
    return daemon_.start(
        command,
        {"FWSTATUS_UNIT_ROOT=" + root_.path(), root_.guardian().mark(), std::string{every_level_trace}},
        root_.file("/sim/console"), 60s);
}

bool unit_t::run_passes(int count, std::chrono::milliseconds patience) {
    // The pass that is under way when this is called may have looked before; it does not count.
    const auto last = status_->counters().rewrites + count + 1;
    return wait_until([&] { return status_->counters().rewrites >= last; }, patience);
}

std::string unit_t::log() const {
    return root_.read_file("/sim/log");
}

std::string unit_t::console() const {
    return root_.read_file("/sim/console");
}

unit_builder_t::unit_builder_t(std::string_view kind) {
    const auto* const found = find_unit(kind);
    if (found == nullptr) {
        throw std::runtime_error{"no unit \"" + std::string{kind} + "\""};
    }
    definition_ = *found;
}

unit_builder_t& unit_builder_t::without_engine() {
    with_engine_ = false;
    return *this;
}

unit_builder_t& unit_builder_t::without_notification_service() {
    with_notifications_ = false;
    return *this;
}

unit_builder_t& unit_builder_t::without_daemon() {
    with_daemon_ = false;
    return *this;
}

unit_builder_t& unit_builder_t::with_serial_manners(serial_manners_t manners) {
    serial_manners_ = std::move(manners);
    return *this;
}

unit_builder_t& unit_builder_t::prepared_by(std::function<void(unit_t&)> preparation) {
    preparations_.push_back(std::move(preparation));
    return *this;
}

std::unique_ptr<unit_t> unit_builder_t::start() {
    auto unit = std::make_unique<unit_t>(definition_, serial_manners_);
    if ((with_engine_ && !unit->engine().start()) ||
        (with_notifications_ && !unit->notifications().start())) {
        throw std::runtime_error{"a service of the unit could not bind its socket"};
    }
    for (const auto& prepare : preparations_) {
        prepare(*unit);
    }
    if (with_daemon_) {
        if (const int status = unit->start_daemon(); status != 0) {
            throw std::runtime_error{"the daemon ended with status " + std::to_string(status) + "\n" +
                                     unit->console() + unit->log()};
        }
    }
    return unit;
}

}  // namespace sim
