#include "io/lite_io.h"
#include "io/omap_io.h"
#include "io/platform_tables.h"
#include "platform/identity.h"
#include "tools/unitctl/daemon_search.h"
#include "tools/unitctl/families.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <variant>

namespace tools::unitctl {

namespace {

/// One line of the screen, one member of the JSON object.
struct fact_t {
    const char* key;
    const char* label;
    std::variant<std::string, long, double, bool> value;
    const char* unit = "";
};
using facts_t = std::vector<fact_t>;

/// Sends to standard error, while it lives, what drivers say on standard output.
class drivers_aside_t {
  public:
    drivers_aside_t() : output_{::dup(STDOUT_FILENO)} {
        std::fflush(stdout);
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    drivers_aside_t(const drivers_aside_t&) = delete;
    drivers_aside_t& operator=(const drivers_aside_t&) = delete;
    ~drivers_aside_t() {
        std::fflush(stdout);
        ::dup2(output_, STDOUT_FILENO);
        ::close(output_);
    }

  private:
    int output_;
};

std::string hex(std::uint32_t word) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", word);
    return text.data();
}

/// The device through which this unit's hardware is reached.
const char* io_device() {
    return io::omap_io_t::instance().present()   ? "first generation"
           : io::lite_io_t::instance().present() ? "lite"
           : io::system_t::ready()               ? "FPGA"
                                                 : "none";
}

void add_platform(facts_t& facts, session_t& session) {
    const auto& identity = zel::platform_identity();
    const auto id = io::system_t::platform_id();
    facts.push_back({"platform_id", "Platform id", static_cast<long>(id)});
    facts.push_back({"platform_name", "Platform", std::string{io::system_t::platform_display_name(id)}});
    facts.push_back({"slots", "Slots", static_cast<long>(io::system_t::slot_count())});
    facts.push_back({"io_device", "I/O device", std::string{io_device()}});
    facts.push_back({"fpga_mapped", "FPGA mapped", io::system_t::ready()});
    if (io::system_t::ready()) {
        facts.push_back({"fpga_id", "FPGA id", hex(io::system_t::fpga_id())});
    }
    facts.push_back({"engine", "Engine answers", session.is_identified()});
    if (session.is_identified()) {
        facts.push_back({"part_number", "Part number", identity.part_number_text});
        facts.push_back({"model_code", "Model code", static_cast<long>(identity.part_number)});
        facts.push_back({"platform_code", "Platform code", static_cast<long>(identity.platform)});
        facts.push_back({"architecture_code", "Architecture", static_cast<long>(identity.arch)});
        facts.push_back({"studio_model", "Studio model", io::system_t::is_studio_model()});
        facts.push_back({"virtual_node", "Virtual node", io::system_t::is_vnode()});
    }
}

/// Of a front panel or a page station. Throws `refusal_t` when it does not tell.
long display_revision(session_t& session) {
    int panel_revision{};
    if (io::front_panel_t::is_supported()) {
        require_done([&] { return session.front_panel().read_revision(panel_revision); });
        return panel_revision;
    }
    std::uint32_t station_revision{};
    require_done([&] { return session.page_station().get_revision(station_revision); });
    return static_cast<long>(station_revision);
}

/// The display, and what it tells of itself.
void add_display(facts_t& facts, session_t& session) {
    const bool has_panel = io::front_panel_t::is_supported();
    const bool has_station = io::system_t::is_page_station();
    const bool has_serial = io::serial_panel().init(false);
    facts.push_back({"display", "Display",
                     std::string{has_panel     ? "LCD front panel"
                                 : has_station ? "page station"
                                 : has_serial  ? "serial front panel"
                                               : "none"}});
    const auto daemon = find_daemon();
    facts.push_back({"daemon", "Daemon runs", daemon.has_value()});
    if (!(has_panel || has_station || has_serial)) {
        return;
    }
    if (daemon && !session.force) {
        facts.push_back({"display_state", "Display state",
                         std::string{"held by the daemon; --force asks it all the same"}});
        return;
    }
    try {
        if (has_serial) {
            static_cast<void>(session.serial_panel());
        } else {
            facts.push_back({"display_revision", "Revision", display_revision(session)});
        }
        facts.push_back({"display_state", "Display state", std::string{"answers"}});
    } catch (const std::exception&) {
        facts.push_back({"display_state", "Display state", std::string{"does not answer"}});
    }
}

void add_controller(facts_t& facts, session_t& session) {
    try {
        static_cast<void>(session.controller());
    } catch (const refusal_t&) {  // without an FPGA: what does not need it is told all the same
    }
    auto& controller = io::control();
    std::uint32_t number{};
    if (controller.get_hardware_revision(number)) {
        facts.push_back({"hardware_revision", "Hardware", static_cast<long>(number)});
    }
    float celsius = std::numeric_limits<float>::quiet_NaN();
    if (controller.get_temperature(celsius) && !std::isnan(celsius)) {
        facts.push_back({"temperature", "Temperature", static_cast<double>(celsius), " C"});
    }
    constexpr std::array keys{"fan_0", "fan_1"};
    constexpr std::array labels{"Fan 0", "Fan 1"};
    for (const int fan : {0, 1}) {
        if (session.is_on(io::platform_tables::with_fans) && controller.get_fan_speed(fan, number)) {
            const auto at = static_cast<std::size_t>(fan);
            facts.push_back({keys.at(at), labels.at(at), static_cast<long>(number), " rpm"});
        }
    }
    io::control_t::inputs_t inputs;
    if (controller.get_inputs(inputs)) {
        facts.push_back({"input_present", "Input present", inputs.present});
        facts.push_back({"input_fault_a", "Input fault a", inputs.fault_a});
        facts.push_back({"input_fault_b", "Input fault b", inputs.fault_b});
        facts.push_back({"input_active", "Input active", inputs.active});
    }
    bool state = false;
    if (controller.get_status_input(state)) {
        facts.push_back({"status_input", "Status input", state});
    }
    if (controller.get_gpio_status(state)) {
        facts.push_back({"gpio_status", "Status line", state});
    }
}

facts_t facts_of(session_t& session) {
    const drivers_aside_t aside;
    session.open();
    facts_t facts;
    add_platform(facts, session);
    add_display(facts, session);
    add_controller(facts, session);
    return facts;
}

void print_screen(const facts_t& facts) {
    struct printer_t {
        const fact_t& fact;
        void operator()(const std::string& text) const { std::printf("%-16s%s\n", fact.label, text.c_str()); }
        void operator()(long number) const { std::printf("%-16s%ld%s\n", fact.label, number, fact.unit); }
        void operator()(double number) const { std::printf("%-16s%.5g%s\n", fact.label, number, fact.unit); }
        void operator()(bool state) const { std::printf("%-16s%s\n", fact.label, state ? "yes" : "no"); }
    };
    for (const auto& fact : facts) {
        std::visit(printer_t{fact}, fact.value);
    }
}

void print_json(const facts_t& facts) {
    rapidjson::StringBuffer text;
    rapidjson::PrettyWriter writer{text};
    struct writer_t {
        rapidjson::PrettyWriter<rapidjson::StringBuffer>& to;
        void operator()(const std::string& value) const {
            to.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
        }
        void operator()(long value) const { to.Int64(value); }
        void operator()(double value) const { to.Double(value); }
        void operator()(bool value) const { to.Bool(value); }
    };
    writer.StartObject();
    for (const auto& fact : facts) {
        writer.Key(fact.key);
        std::visit(writer_t{writer}, fact.value);
    }
    writer.EndObject();
    std::puts(text.GetString());
}

/// All platforms by id and name; this unit's own is marked.
void print_platforms(session_t& session) {
    session.open();
    for (std::uint32_t id = 1; id < io::platform_tables::display_names.size(); ++id) {
        std::printf("%s%3u  %s\n", id == io::system_t::platform_id() ? "*" : " ", id,
                    io::system_t::platform_display_name(id));
    }
}

}  // namespace

void add_info_command(CLI::App& app, session_t& session) {
    const auto as_json = std::make_shared<bool>(false);
    add_command(app, "info", "What this unit is, and what answers on it", {}, [&session, as_json] {
        const auto facts = facts_of(session);
        if (*as_json) {
            print_json(facts);
        } else {
            print_screen(facts);
        }
    }).add_flag("--json", *as_json, "As one JSON object");
    add_command(app, "platforms", "Lists the platforms; a \"*\" marks this unit's", {},
                [&session] { print_platforms(session); });
}

}  // namespace tools::unitctl
