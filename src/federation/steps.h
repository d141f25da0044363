// Sequences of steps as data: what they do, how far the operation has come when they begin, and what their
// failure is called.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "federation/state.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

template <class Work>
struct Step {
    std::wstring_view name;                 // for whoever reads the list
    std::optional<int> progress{};          // per cent, written before the step
    std::wstring_view announcement{};       // logged before the step
    Result<void> (Work::*run)() = nullptr;  // null: there is nothing to do any more, and the outcome counts
    std::wstring_view sentence{};           // of the failure; empty: what the step says itself
    std::wstring_view outcome{};            // written where the step fails; empty: none
    bool (Work::*when)() const = nullptr;   // null: always
};

// Runs the steps until one fails. Without a state neither progress nor outcome is written.
template <class Work>
Result<void> runSteps(Work& work, State* state, std::span<const Step<Work>> steps) {
    for (const Step<Work>& step : steps) {
        if (step.when && !(work.*step.when)()) continue;
        if (state && step.progress) state->setProgress(*step.progress);
        if (!step.announcement.empty()) logInfo(L"%s", step.announcement);
        auto done = step.run ? (work.*step.run)() : Result<void>();
        if (!done && !step.sentence.empty()) done = fail(done.error().code, std::wstring(step.sentence));
        if (state && !step.outcome.empty() && (!done || !step.run)) state->setOutcome(step.outcome);
        if (!done) {
            logWarning(L"%s", done.error().text);
            return done;
        }
    }
    return {};
}

}  // namespace wsadmin::qrv
