#include "platform/log.h"

#include <spdlog/spdlog.h>

#include <utility>

namespace zel {

namespace {

std::shared_ptr<spdlog::logger>& this_threads_logger() {
    thread_local std::shared_ptr<spdlog::logger> logger;
    return logger;
}

spdlog::level::level_enum library_level(log_level_e level) {
    return static_cast<spdlog::level::level_enum>(level);
}

std::shared_ptr<spdlog::logger>& this_process_logger() {
    static auto& logger = *new std::shared_ptr<spdlog::logger>;
    return logger;
}

}  // namespace

void log_base_s::guarded_format() noexcept {
    formatting_ = true;
    try {
        format();
    } catch (const std::exception& error) {
        replace_text(error.what());
    } catch (...) {
        replace_text("Unknown exeption in logger");
    }
    formatting_ = false;
}

void log_base_s::emit(spdlog::logger* logger, log_level_e level) const {
    if (logger != nullptr && !lost_) {
        logger->log(library_level(level), "{}", text_.str());
    }
}

void log_base_s::replace_text(const char* text) {
    text_.clear();  // a null pointer that was inserted leaves the stream deaf
    text_.str({});
    text_ << text;
}

scope_logger::scope_logger(std::shared_ptr<spdlog::logger> logger, log_level_e level)
    : logger_{std::move(logger)}, level_{level} {}

scope_logger::scope_logger(const std::string& logger_name, log_level_e level)
    : scope_logger{spdlog::get(logger_name), level} {}

scope_logger::~scope_logger() {
    const auto& current = this_threads_logger();
    emit(current ? current.get() : logger_.get(), level_);
}

std::shared_ptr<spdlog::logger> process_logger() {
    return this_process_logger();
}

void set_process_logger(std::shared_ptr<spdlog::logger> logger) {
    this_process_logger() = std::move(logger);
}

log_error_s::~log_error_s() {
    emit(this_process_logger().get(), log_level_e::error);
}

std::shared_ptr<spdlog::logger> current_logger() {
    return this_threads_logger();
}

current_logger_scope_t::current_logger_scope_t(std::shared_ptr<spdlog::logger> logger)
    : previous_{std::exchange(this_threads_logger(), std::move(logger))} {}

current_logger_scope_t::~current_logger_scope_t() {
    this_threads_logger() = std::move(previous_);
}

scope_tracer_t::scope_tracer_t(std::shared_ptr<spdlog::logger> logger, const char* file, const char* function,
                               int line)
    : logger_{std::move(logger)}, location_{std::string{file} + ':' + function + ':' + std::to_string(line)} {
    scope_logger{logger_, log_level_e::debug} << "╔═══" << location_ << "═══╗";
}

scope_tracer_t::~scope_tracer_t() {
    scope_logger{logger_, log_level_e::debug} << "╚═══" << location_ << "═══╝";
}

}  // namespace zel
