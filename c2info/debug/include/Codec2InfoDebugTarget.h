// A named set of debug commands that a decoder component adds to the
// service's lshal debug interface ("--<name> [args]").
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vendor {
namespace larkspan {
namespace hardware {
namespace c2 {
namespace info {
namespace implementation {

class Codec2InfoDebugTarget {
public:
    virtual ~Codec2InfoDebugTarget() = default;

    // The word that selects the target, matched ignoring case.
    virtual const std::string& targetName() = 0;
    // Writes the target's usage to fd, each line indented by indent columns.
    virtual void printUsage(int fd, int indent) = 0;
    // Runs a command; args are the words after the target's name.
    virtual void dump(int fd, const std::vector<std::string_view>& args) = 0;
};

}  // namespace implementation
}  // namespace info
}  // namespace c2
}  // namespace hardware
}  // namespace larkspan
}  // namespace vendor
