#include "tools/unitctl/bus_trace.h"

#include <array>
#include <cstdio>
#include <utility>

namespace tools::unitctl {

namespace {

std::string line_of(const bus_access_t& access, std::uint64_t times) {
    using kind_e = bus_access_t::kind_e;
    const bool reads = access.kind == kind_e::read32 || access.kind == kind_e::read8;
    const bool is_byte = access.kind == kind_e::read8 || access.kind == kind_e::write8;
    std::array<char, 80> text{};
    int length = std::snprintf(text.data(), text.size(),
                               access.in_shared_region ? "  %s shared %05x %0*x" : "  %s %06x %0*x",
                               reads ? "read " : "write", access.offset, is_byte ? 2 : 8, access.value);
    if (times > 1) {
        length += std::snprintf(text.data() + length, text.size() - static_cast<std::size_t>(length),
                                " x %llu", static_cast<unsigned long long>(times));
    }
    return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace

std::uint64_t bus_trace_t::take_count() {
    return std::exchange(count_, 0);
}

std::string bus_trace_t::take_text() {
    std::string text;
    for (const auto& [access, times] : kept_) {
        text += line_of(access, times) + '\n';
    }
    kept_.clear();
    return text;
}

void bus_trace_t::mapped(const std::byte* start, std::size_t length, off_t device_offset) {
    if (start != nullptr) {
        regions_.push_back({start, length, device_offset != 0});
    }
}

void bus_trace_t::unmapped(const std::byte* start) {
    std::erase_if(regions_, [start](const region_t& region) { return region.start == start; });
}

void bus_trace_t::note(bus_access_t::kind_e kind, const std::byte* address, std::uint32_t value) {
    for (const auto& region : regions_) {
        if (address < region.start || address >= region.start + region.length) {
            continue;
        }
        ++count_;
        if (!keeping_) {
            return;
        }
        const bus_access_t access{kind, region.is_shared, static_cast<std::uint32_t>(address - region.start),
                                  value};
        if (kept_.empty() || kept_.back().first != access) {
            kept_.emplace_back(access, 0);
        }
        ++kept_.back().second;
        return;
    }
}

bus_trace_t& bus_trace() {
    static auto& trace = *new bus_trace_t;
    return trace;
}

}  // namespace tools::unitctl
