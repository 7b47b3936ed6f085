#include "Interrupt.h"

#include <csignal>

namespace hastool {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void onSignal(int) {
    interrupted = 1;
}

} // namespace

void catchInterrupts() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool isInterrupted() {
    return interrupted != 0;
}

} // namespace hastool
