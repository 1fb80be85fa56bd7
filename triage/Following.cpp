#include "Following.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>

#include "ChangeLines.h"
#include "Follow.h"
#include "FollowedInput.h"
#include "LiveScreen.h"

namespace triage {
namespace {

// A file gives no sign that it grew: it is looked at this often.
constexpr int kGrowthPollMs = 100;

volatile sig_atomic_t gStopped = 0;

void onStop(int) {
    gStopped = 1;
}

// The signals are held but while waiting, so that one arriving between the
// check and the wait still ends the wait.
sigset_t holdStopSignals() {
    struct sigaction action {};
    action.sa_handler = onStop;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigset_t stops, before;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    sigprocmask(SIG_BLOCK, &stops, &before);
    return before;
}

}  // namespace

int follow(const std::string& path, const std::string& recordPath) {
    std::unique_ptr<FollowedInput> input;
    try {
        input = std::make_unique<FollowedInput>(path, recordPath);
    } catch (const InputError& error) {
        fprintf(stderr, "c2info-triage: %s\n", error.what());
        return 1;
    }
    const std::string name = path == "-" ? "standard input" : path;
    Follower follower(name);
    ChangePrinter printer(stdout, stderr, name);
    std::unique_ptr<LiveScreen> screen = isatty(STDOUT_FILENO) ? LiveScreen::open(name) : nullptr;
    auto present = [&](const std::vector<FollowEvent>& events) {
        for (const FollowEvent& event : events) {
            if (screen != nullptr) {
                screen->show(event);
            } else {
                printer.print(event);
            }
        }
    };

    const sigset_t waiting = holdStopSignals();
    std::string failure;
    bool ended = false;
    bool idle = false;
    while (!gStopped) {
        pollfd ready[2];
        nfds_t count = 0;
        int descriptor = ended ? -1 : input->pollDescriptor();
        if (descriptor >= 0) ready[count++] = {descriptor, POLLIN, 0};
        if (screen != nullptr) ready[count++] = {screen->keyDescriptor(), POLLIN, 0};
        // A file is looked at again at once while it has more.
        timespec growth{0, idle ? kGrowthPollMs * 1000000L : 0};
        bool timed = !ended && descriptor < 0;
        if (ppoll(ready, count, timed ? &growth : nullptr, &waiting) < 0 && errno != EINTR) break;
        // A resize interrupts the wait too.
        if (gStopped || (screen != nullptr && !screen->serveKeys())) break;
        if (ended || (descriptor >= 0 && ready[0].revents == 0)) continue;
        std::string bytes;
        FollowedInput::Read read;
        try {
            read = input->read(&bytes);
        } catch (const InputError& error) {
            failure = error.what();
            break;
        }
        idle = read == FollowedInput::Read::kNothingYet;
        if (!bytes.empty()) present(follower.feed(bytes));
        if (read == FollowedInput::Read::kEnded) {
            present(follower.finish());
            // The view stays for a look until it is quit.
            ended = true;
            if (screen == nullptr) break;
        }
    }
    // Said once the terminal is given back.
    screen.reset();
    if (failure.empty()) return 0;
    fprintf(stderr, "c2info-triage: %s\n", failure.c_str());
    return 1;
}

}  // namespace triage
