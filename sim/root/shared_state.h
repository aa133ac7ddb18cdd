#pragma once

#include <cstddef>
#include <new>
#include <string_view>
#include <type_traits>

namespace sim {

/// Maps the file of that name in "sim/" below the unit root, shared with every process on the unit, and
/// never unmaps it. Without a unit root: memory of this process and its children.
/// @param is_new  whether this call made the file; it is zero then.
[[nodiscard]] void* map_shared_state(std::string_view name, std::size_t size, bool& is_new);

/// A device's visible state, where the viewer and the tests see it from outside and where a fork of the
/// daemon changes nothing: initialised by whoever asks first, found as it is by all others.
///
///     auto& state = sim::shared_state<sim::control_block_state_t>("control");
template <typename state_t>
[[nodiscard]] state_t& shared_state(std::string_view name) {
    static_assert(std::is_trivially_copyable_v<state_t>, "seen by processes with addresses of their own");
    bool is_new = false;
    void* const place = map_shared_state(name, sizeof(state_t), is_new);
    return is_new ? *new (place) state_t{} : *static_cast<state_t*>(place);
}

}  // namespace sim
