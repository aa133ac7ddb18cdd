#pragma once

#include "io/lcd/graphics.h"

namespace io {

/// Holds the unit's LCD back while a picture is put together, and sends it whole when the object goes.
class held_update_t {
  public:
    held_update_t() { graphics().begin_update(); }
    held_update_t(const held_update_t&) = delete;
    held_update_t& operator=(const held_update_t&) = delete;
    ~held_update_t() { graphics().end_update(); }
};

}  // namespace io
