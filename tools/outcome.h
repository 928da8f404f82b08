// outcome.h - whether a step of the program worked, and if not, what to tell the user.
#pragma once

#include <string>
#include <utility>

namespace tools {

// `subject` is the file (or FILE:LINE, or an option) that the trouble is with, `reason` the rest of the
// message. Printed as "ringmix: subject: reason".
struct [[nodiscard]] outcome_t {
    bool isGood = true;
    std::string subject, reason;

    explicit operator bool() const noexcept { return isGood; }
};

inline outcome_t Success() { return {}; }
inline outcome_t Failure(std::string subject, std::string reason) {
    return {false, std::move(subject), std::move(reason)};
}
// The reason is what errno says.
outcome_t SystemFailure(std::string subject);

}  // namespace tools
