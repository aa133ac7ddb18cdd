#include "tools/unitctl/signals.h"

namespace tools::unitctl {

namespace {

volatile std::sig_atomic_t noted = 0;

}  // namespace

caught_signals_t::caught_signals_t(then_e then)
    : count_{then == then_e::obey ? signals.size() : signals.size() - 1}, then_{then} {
    noted = 0;
    struct sigaction action {};
    action.sa_handler = [](int signal) { noted = signal; };
    action.sa_flags = then == then_e::obey ? SA_RESTART : 0;
    for (std::size_t i = 0; i < count_; ++i) {
        ::sigaction(signals.at(i), &action, &previous_.at(i));
    }
}

caught_signals_t::~caught_signals_t() {
    for (std::size_t i = 0; i < count_; ++i) {
        ::sigaction(signals.at(i), &previous_.at(i), nullptr);
    }
    if (then_ == then_e::obey && noted != 0) {
        std::raise(noted);  // NOLINT(cert-err33-c): nobody is left to hear of it
    }
}

bool caught_signals_t::any() {
    return noted != 0;
}

}  // namespace tools::unitctl
