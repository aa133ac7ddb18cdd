#pragma once

#include "sim/system_path.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

namespace tests {

/// A unit root of its own, with the directories that services need, for as long as the object lives. Short
/// enough for socket paths.
class temporary_unit_t {
  public:
    temporary_unit_t() {
        char name[] = "/tmp/unit-XXXXXX";
        root_ = ::mkdtemp(name);
        std::filesystem::create_directories(root_ + "/tmp");
        std::filesystem::create_directories(root_ + "/sim");
        sim::set_unit_root(root_);
    }
    temporary_unit_t(const temporary_unit_t&) = delete;
    temporary_unit_t& operator=(const temporary_unit_t&) = delete;
    ~temporary_unit_t() { std::filesystem::remove_all(root_); }

    [[nodiscard]] const std::string& root() const { return root_; }

  private:
    std::string root_;
};

/// Waits until `holds()` does; ten seconds at most. @return whether it does.
template <typename condition_t>
bool eventually(const condition_t& holds) {
    for (int i = 0; i < 5000; ++i) {
        if (holds()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{2});
    }
    return holds();
}

}  // namespace tests
