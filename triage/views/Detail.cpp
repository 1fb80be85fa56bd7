#include "Detail.h"

namespace triage {

const char* lineKindName(OwnerLineKind kind) {
    switch (kind) {
        case OwnerLineKind::kStreamHeader:
            return "streamHeader";
        case OwnerLineKind::kPassed:
            return "passed";
        case OwnerLineKind::kFinding:
            return "finding";
        case OwnerLineKind::kNote:
            return "note";
        case OwnerLineKind::kDispatch:
            return "dispatch";
        case OwnerLineKind::kUndecidable:
            return "undecidable";
        case OwnerLineKind::kContinue:
            return "continue";
    }
    return "";
}

std::optional<OwnerLineKind> lineKindNamed(std::string_view name) {
    for (int kind = 0; kind <= static_cast<int>(OwnerLineKind::kContinue); ++kind) {
        if (name == lineKindName(static_cast<OwnerLineKind>(kind)))
            return static_cast<OwnerLineKind>(kind);
    }
    return std::nullopt;
}

}  // namespace triage
