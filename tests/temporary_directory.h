#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tests {

/// A directory of the test's own, short enough for socket paths, removed at the end.
class temporary_directory_t {
  public:
    temporary_directory_t() : path_{"/tmp/fwt.XXXXXX"} {
        if (::mkdtemp(path_.data()) == nullptr) {
            std::abort();
        }
    }
    temporary_directory_t(const temporary_directory_t&) = delete;
    temporary_directory_t& operator=(const temporary_directory_t&) = delete;
    ~temporary_directory_t() { std::filesystem::remove_all(path_); }

    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    std::string path_;
};

inline std::string read_file(const std::string& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

inline void write_file(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path{path}.parent_path());
    std::ofstream{path, std::ios::binary} << text;
}

}  // namespace tests
