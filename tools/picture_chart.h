// picture_chart.h - axes with units, a grid, and a legend above; the curves are the caller's.
#pragma once

#include <string>
#include <vector>

#include "tools/picture_canvas.h"

namespace tools {

struct axis_t {
    double from = 0.0, to = 1.0;
    std::string unit;  // beside the axis, such as "s" or "dBFS"
    bool isLogarithmic = false;
    bool hasLabels = true;
};

enum class mark_t { line, area, dot, tick };

struct legend_entry_t {
    std::string text;
    color_t color;
    mark_t mark = mark_t::line;
};

class Chart_t {
  public:
    // `box` is where curves go; labels and legend lie around it.
    Chart_t(Canvas_t& canvas, const box_t& box, axis_t x, axis_t y);

    double X(double value) const;
    double Y(double value) const;  // values beyond the axis end at it
    const box_t& Box() const { return box; }
    Canvas_t& Canvas() const { return canvas; }
    const theme_t& Theme() const { return canvas.Theme(); }

    void DrawBack();   // inset, grid and labels: before the curves
    void DrawFrame();  // after them
    void DrawLegend(const std::vector<legend_entry_t>& entries) const;

    // Values over x, joined by lines; a value that is not finite makes a gap.
    struct point_t {
        double x, y;
    };
    void Curve(const std::vector<point_t>& points, const color_t& color, double thickness = 1.4) const;
    // From x to x over the whole height.
    void Band(double from, double to, const color_t& color) const;

  private:
    double Place(const axis_t& axis, double value, double start, double length) const;
    void DrawXGrid();
    void DrawYGrid();

    Canvas_t& canvas;
    box_t box;
    axis_t x, y;
};

}  // namespace tools
