// picture_render.h - charts of what a render did: voices, ring, late data, cost of the ticks.
#pragma once

#include "tools/picture_chart.h"
#include "tools/render_figures.h"

namespace tools {

// Of the timeline of voices, with a row for each.
double VoicesHeight(const render_figures_t& figures);

// Of the voices that the timeline has no room for.
size_t PlaysWithoutRow(const render_figures_t& figures);

void DrawVoices(Canvas_t& canvas, const box_t& box, const render_figures_t& figures);
void DrawRing(Canvas_t& canvas, const box_t& box, const render_figures_t& figures);
void DrawLate(Canvas_t& canvas, const box_t& box, const render_figures_t& figures);
void DrawTickCosts(Canvas_t& canvas, const box_t& box, const render_figures_t& figures);

}  // namespace tools
