// The shortest story that still goes wrong in the same way.
#pragma once

#include <functional>

#include "lives/life.h"

namespace tavi::lives {

// Leaves out events, then pauses and details, for as long as the same judge still finds something unexplained (or, when
// `knownLimit` is not empty, something with that name).
Plan Shrink(Plan plan, char judge, const std::string& knownLimit = {});

// The story in lines, with what the judges found at its end.
std::string Story(const Plan& plan, const Report& report);

}  // namespace tavi::lives
