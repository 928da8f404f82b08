// load_problem.h - why a load failed, found out afterwards: loads that work pay nothing for it.
#pragma once

#include <ringmix/host.h>

#include "sounds/sound.h"

namespace host {

// Of an outcome that is not `loaded`. Reads the file once more, up to its header.
ringmix::result_t ExplainFile(const AudioSystem::load_outcome_t& outcome, const char* path);
ringmix::result_t ExplainImage(const AudioSystem::load_outcome_t& outcome, const char* name,
                               const void* image, uint32_t imageBytes);

// Null text: the file can be opened. Else the system's reason.
const char* WhyNotOpen(const char* path);

}  // namespace host
