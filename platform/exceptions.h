#pragma once

#include <exception>
#include <string>

/// The faults that the system throws. A message grows as it passes outward, joined by " : ": each layer may
/// put its own context in front of the text or a detail behind it.
///
///     try {
///         port.open(path, 0);
///     } catch (zel::exception_t& fault) {
///         fault.prepend("front panel");   // "front panel : open failed : No such file or directory (2)"
///         throw;
///     }
namespace zel {

class exception_t : public std::exception {
  public:
    explicit exception_t(std::string message);
    exception_t(const exception_t&) = default;
    exception_t& operator=(const exception_t&) = default;
    // The order of the virtual operations is the order of their slots: destructor, what, prepend, append.
    ~exception_t() override;

    /// Valid until the message grows or the object goes.
    [[nodiscard]] const char* what() const noexcept override;
    virtual void prepend(const std::string& context);
    virtual void append(const std::string& detail);

  private:
    std::string message_;
};

/// A failed system call: "context : system's text (number)".
class system_exception_t : public exception_t {
  public:
    /// @param error_number  an errno value; 0 where no call failed.
    system_exception_t(std::string context, int error_number);
    system_exception_t(const system_exception_t&) = default;
    system_exception_t& operator=(const system_exception_t&) = default;
    ~system_exception_t() override;

    /// The text given at construction, whatever the message has grown to.
    [[nodiscard]] const std::string& context() const { return context_; }
    [[nodiscard]] int error_number() const { return error_number_; }

  private:
    std::string context_;
    int error_number_;
};

/// Thrown by `zel::serial_port`.
class serial_port_exception : public system_exception_t {
  public:
    using system_exception_t::system_exception_t;
};

/// Thrown by `zel::mem_block`.
class memory_exception : public exception_t {
  public:
    memory_exception();
};

}  // namespace zel
