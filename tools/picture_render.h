// picture_render.h - charts of what a render did: voices, ring, late data, cost of the ticks.
#pragma once

#include "tools/picture_chart.h"
#include "tools/render_figures.h"

namespace tools {

// How many rows the timeline of voices has, and how high it therefore is.
size_t VoiceRows(const render_figures_t& figures);
double VoicesHeight(const render_figures_t& figures);
constexpr size_t mostVoiceRows = 40;  // voices beyond are left to the table and to the JSON

void DrawVoices(Canvas_t& canvas, const box_t& box, const render_figures_t& figures);
void DrawRing(Canvas_t& canvas, const box_t& box, const render_figures_t& figures);
void DrawLate(Canvas_t& canvas, const box_t& box, const render_figures_t& figures);
void DrawTickCosts(Canvas_t& canvas, const box_t& box, const render_figures_t& figures);

}  // namespace tools
