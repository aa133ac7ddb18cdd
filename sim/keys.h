#pragma once
#include "sim/display_view.h"
namespace sim { inline void move_key(const unit_definition_t&, const std::string&, bool) {} inline void list_faults(){} inline void arrange_fault(const std::string&, unit_builder_t&){} inline std::unique_ptr<display_view_t> make_display_view(unit_t&){return nullptr;} }
