#include "platform/product_tables.h"

#include "platform/log.h"
#include "platform/product_list.h"

#include <algorithm>
#include <stdexcept>

namespace zel {

namespace {

using product_list::cpu_vectors_t;
using product_list::platform_row_t;
using product_list::platforms;
using product_list::product_row_t;
using product_list::products;

static_assert(std::ranges::is_sorted(platforms, {}, &platform_row_t::name) &&
                  std::ranges::adjacent_find(platforms, {}, &platform_row_t::name) == platforms.end(),
              "the platforms stand in the order of their names, each once");
static_assert(std::ranges::is_sorted(products, {}, &product_row_t::code) &&
                  std::ranges::adjacent_find(products, {}, &product_row_t::code) == products.end(),
              "the products stand in the order of their codes, each once");

constexpr bool part_number_texts_differ() {
    for (auto row = products.begin(); row != products.end(); ++row) {
        if (std::ranges::find(row + 1, products.end(), row->text, &product_row_t::text) != products.end()) {
            return false;
        }
    }
    return true;
}
static_assert(part_number_texts_differ(), "a part-number text belongs to one product");

const product_row_t* find_product(std::uint32_t part_number) {
    const auto* const row = std::ranges::lower_bound(products, part_number, {}, &product_row_t::code);
    return row != products.end() && row->code == part_number ? row : nullptr;
}

int attribute(std::uint32_t part_number, std::size_t position) {
    const auto* const product = find_product(part_number);
    return product == nullptr ? 0 : product->attributes[position];
}

// The CPUs of one kind of work, or the defaults with a warning that names the kind.
std::vector<std::string> cpus_for(std::uint32_t part_number, auto cpu_vectors_t::*kind, const char* kind_name,
                                  std::vector<std::string> defaults) {
    const auto* const product = find_product(part_number);
    if (product == nullptr || product->cpus == nullptr) {
        scope_logger{process_logger(), log_level_e::warning}
            << "Table lookup failed for part number " << display_name(part_number) << ". Using default "
            << kind_name << " cpu vector";
        return defaults;
    }
    std::vector<std::string> names;
    for (const auto& name : product->cpus->*kind) {
        if (!name.empty()) {
            names.emplace_back(name);
        }
    }
    return names;
}

}  // namespace

int platform_code(std::string_view platform_name) {
    const auto* const row = std::ranges::lower_bound(platforms, platform_name, {}, &platform_row_t::name);
    if (row == platforms.end() || row->name != platform_name) {
        throw std::out_of_range{"map::at"};
    }
    return row->code;
}

std::uint32_t part_number_code(std::string_view part_number_text) {
    const auto* const row = std::ranges::find(products, part_number_text, &product_row_t::text);
    return row == products.end() ? 0 : row->code;
}

std::string short_name(std::uint32_t part_number) {
    const auto* const product = find_product(part_number);
    return std::string{product == nullptr ? "unknown" : product->short_name};
}

std::string display_name(std::uint32_t part_number) {
    const auto* const product = find_product(part_number);
    return std::string{product == nullptr ? "Unknown" : product->display_name};
}

int hardware_family(std::uint32_t part_number) {
    return attribute(part_number, 0);
}

int board_generation(std::uint32_t part_number) {
    return attribute(part_number, 1);
}

std::vector<std::string> control_cpus(std::uint32_t part_number) {
    if (part_number == 0) {
        return {};
    }
    return cpus_for(part_number, &cpu_vectors_t::control, "control", {"cpu0"});
}

std::vector<std::string> network_cpus(std::uint32_t part_number) {
    return cpus_for(part_number, &cpu_vectors_t::network, "network", {});
}

std::vector<std::string> processing_cpus(std::uint32_t part_number) {
    return cpus_for(part_number, &cpu_vectors_t::processing, "processing", {"cpu1", "cpu2", "cpu3"});
}

}  // namespace zel
