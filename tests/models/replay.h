// SPDX-License-Identifier: Apache-2.0
// Replays a schedule of a model with real processes and kernel objects. A schedule has a line a step:
//
//     p0 calls FUNCTION      actor 0 begins a function, and stops before its first step
//     p0 STEP = 5            it takes this step, with this result; an error is negative
//     p0 STEP waits          it takes this step and does not return from it
//     p0 STEP begins         it takes this step, which has steps of its own, and stops before the first
//     p0 STEP ends = 0       the end of such a step
//     p0 STEP reached        it continues from where it waited, and stops before this step
//     p0 returns = 0         the function returns
//     p0 signal              a signal handler runs
//     p0 exits, p0 dies      its process ends
//     anything else          what the objects of the model know
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "models/actor.h"

namespace varnel::models {

using words = std::vector<std::string>;

/// The objects that the actors of a model share.
struct stage {
    /// The actors of each process.
    std::vector<std::vector<int>> processes;
    /// What an actor performs; called in its process.
    std::function<performer(int actor)> performer_of;
    /// Does or looks up what a line says and returns the line as it should have been.
    std::function<std::string(const words &line)> observe;
};

/// The first line that the real code does not follow, and what happened instead.
struct divergence : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Thrown by a stage: the objects cannot be made here.
struct unavailable : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void replay(const stage &objects, const std::vector<std::string> &schedule);

} // namespace varnel::models
