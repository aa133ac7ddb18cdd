#pragma once

#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

namespace spdlog {
class logger;
}

/// Stream-style log lines.
///
/// A module writes `zel::scope_logger{zel::loggers::io, zel::log_level_e::error} << "text " << number;` and
/// the line goes out when the object is destroyed. Loggers are registered in platform/logging.h, the names
/// stand in platform/logger_names.h; a line for a logger that does not exist is dropped.
namespace zel {

/// Numbered as the logging library numbers its levels.
enum class log_level_e { trace = 0, debug = 1, info = 2, warning = 3, error = 4, critical = 5, off = 6 };

/// Collects the text of one log line. Derived objects emit it when they are destroyed.
class log_base_s {
  public:
    log_base_s() = default;
    log_base_s(const log_base_s&) = delete;
    log_base_s& operator=(const log_base_s&) = delete;
    virtual ~log_base_s() = default;

    /// Runs `format`. When that throws, the collected text is replaced by what the exception says, or by a
    /// fixed text when it is not a standard exception. Nothing escapes.
    void guarded_format() noexcept;

    /// Adds to the text. A value whose own operator throws takes the whole line with it and nothing else: the
    /// line is dropped, the caller goes on.
    template <typename value_t>
    log_base_s& operator<<(const value_t& value) {
        try {
            text_ << value;
        } catch (...) {
            if (formatting_) {
                throw;  // for `guarded_format`, which has a text for it
            }
            lost_ = true;
        }
        return *this;
    }

  protected:
    /// What a derived object adds to its line when `guarded_format` is called.
    virtual void format() {}

    /// Writes the text to a logger, if there is one and the text is whole.
    void emit(spdlog::logger* logger, log_level_e level) const;

  private:
    void replace_text(const char* text);

    std::ostringstream text_;
    bool formatting_ = false;
    bool lost_ = false;
};

/// A line for one logger at one level. When the calling thread has a current logger, that one takes the line
/// in its stead.
class scope_logger : public log_base_s {
  public:
    scope_logger(std::shared_ptr<spdlog::logger> logger, log_level_e level);
    /// The logger registered under `logger_name`, if there is one.
    scope_logger(const std::string& logger_name, log_level_e level);
    ~scope_logger() override;

  private:
    std::shared_ptr<spdlog::logger> logger_;
    log_level_e level_;
};

/// The process's default logger, named after its program; empty until `setup_logging` has made it.
[[nodiscard]] std::shared_ptr<spdlog::logger> process_logger();
/// Done by `setup_logging`, before there are threads.
void set_process_logger(std::shared_ptr<spdlog::logger> logger);

/// A line at level error for the process's default logger; dropped while there is none.
class log_error_s : public log_base_s {
  public:
    ~log_error_s() override;
};

/// The calling thread's current logger; empty when it has none.
[[nodiscard]] std::shared_ptr<spdlog::logger> current_logger();

/// Makes a logger the calling thread's current one as long as the object lives.
class current_logger_scope_t {
  public:
    explicit current_logger_scope_t(std::shared_ptr<spdlog::logger> logger);
    current_logger_scope_t(const current_logger_scope_t&) = delete;
    current_logger_scope_t& operator=(const current_logger_scope_t&) = delete;
    ~current_logger_scope_t();

  private:
    std::shared_ptr<spdlog::logger> previous_;
};

/// Frames a scope with a banner on entry and one on exit, at level debug, through the thread's current logger
/// (or `logger` when the thread has none). Use it as `ZEL_TRACE_SCOPE(logger);`.
class scope_tracer_t {
  public:
    scope_tracer_t(std::shared_ptr<spdlog::logger> logger, const char* file, const char* function, int line);
    scope_tracer_t(const scope_tracer_t&) = delete;
    scope_tracer_t& operator=(const scope_tracer_t&) = delete;
    ~scope_tracer_t();

  private:
    std::shared_ptr<spdlog::logger> logger_;
    std::string location_;
};

#define ZEL_TRACE_SCOPE(logger)                                                                              \
    const ::zel::scope_tracer_t zel_scope_tracer {                                                           \
        (logger), __FILE__, __func__, __LINE__                                                               \
    }

}  // namespace zel
