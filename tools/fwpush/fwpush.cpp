#include "tools/fwpush/fleet.h"
#include "tools/fwpush/image.h"
#include "tools/fwpush/options.h"

#include <curl/curl.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>

namespace {

int push(const fwpush::options_t& options) {
    std::optional<fwpush::image_t> image;
    if (!options.image.empty()) {
        try {
            image.emplace(options.image);
        } catch (const std::runtime_error& fault) {
            std::cerr << "fwpush: " << fault.what() << "\n";
            return fwpush::no_image;
        }
    }
    fwpush::fleet_t fleet{options, image ? &*image : nullptr};
    return fleet.run() ? fwpush::all_well : fwpush::not_all_well;
}

// Before any thread starts, such as those in which libcurl resolves names: only the loop takes these.
void block_signals() {
    const auto set = fwpush::ending_signals();
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    ::signal(SIGPIPE, SIG_IGN);  // NOLINT(cert-err33-c)
}

}  // namespace

int main(int argc, char** argv) {
    try {
        int exit_status = fwpush::all_well;
        const auto options = fwpush::read_options(argc, argv, exit_status);
        if (!options) {
            return exit_status;
        }
        block_signals();
        curl_global_init(CURL_GLOBAL_DEFAULT);
        exit_status = push(*options);
        curl_global_cleanup();
        return exit_status;
    } catch (const std::exception& fault) {
        std::cerr << "fwpush: " << fault.what() << "\n";
        return fwpush::not_all_well;
    }
}
