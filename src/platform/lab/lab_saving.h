// What changed in a lab, on its way to the lab's files.
#pragma once

#include "platform/lab/open_lab.h"

namespace wsadmin::platform::lab {

// Writes all that changed. What is not written is kept for the next time.
Result<void> saveLab(Lab& lab);
// For a lab that is not saved: an administrator has to know that what was changed is gone.
Result<void> tellDropped(Lab& lab);

}  // namespace wsadmin::platform::lab
