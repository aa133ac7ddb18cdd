#pragma once

#include "platform/log.h"
#include "platform/logger_names.h"

namespace io {

/// A line of the drivers' own log for what went wrong, written when the returned object goes.
inline zel::scope_logger error() {
    return {zel::loggers::io, zel::log_level_e::error};
}

}  // namespace io
