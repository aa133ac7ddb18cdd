#include "daemon/status_file.h"

#include "daemon/decimal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace firmware {

namespace {

constexpr std::string_view up_to_state = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n"
                                         "<status>\r\n"
                                         "  <state>";
constexpr std::string_view state_to_progress = "</state>\r\n"
                                               "  <progress>";
constexpr std::string_view progress_to_detail = "</progress>\r\n"
                                                "  <detail>";
constexpr std::string_view after_detail = "</detail>\r\n"
                                          "</status>\r\n";

}  // namespace

status_file_t::status_file_t(std::string path) : path_{std::move(path)} {}

void status_file_t::write(std::string_view state, int progress, std::string_view detail) {
    text_.assign(up_to_state).append(state);
    text_.append(state_to_progress);
    append_decimal(text_, progress);
    text_.append(progress_to_detail).append(detail);
    text_.append(after_detail);
    save();
}

void status_file_t::save() const {
    // Non-blocking, in case somebody put a pipe there.
    const int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666);
    if (file < 0) {
        return;
    }
    std::string_view rest = text_;
    while (!rest.empty()) {
        const auto written = ::write(file, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || errno != EINTR) {
            break;  // a full disk: the file stays short until a later pass has room
        }
    }
    ::close(file);
}

}  // namespace firmware
