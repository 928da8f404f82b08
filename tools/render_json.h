// render_json.h - the figures of a render for machines. docs/report.md tells what each key means.
#pragma once

#include "tools/render_figures.h"
#include "tools/sound_report.h"

namespace tools {

// All but "measured" is the same on every run of a scene, on every machine.
json_t RenderJson(const render_figures_t& figures);

}  // namespace tools
