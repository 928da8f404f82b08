// picture_chart.cpp - see the header.
#include "tools/picture_chart.h"

#include <algorithm>
#include <cmath>

#include "tools/number_text.h"

namespace tools {

namespace {

constexpr double labelSize = 10.5;
constexpr double pixelsPerXTick = 75, pixelsPerYTick = 26;

// The next of 1, 2, 5, 10, 20, ... that is not smaller.
double RoundStep(double least) {
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least * 0.999999) return factor * power;
    }
    return 10.0 * power;
}

// Round numbers from one end of an axis to the other, at most so many.
std::vector<double> Ticks(const axis_t& axis, int most) {
    std::vector<double> ticks;
    if (!(axis.to > axis.from) || most < 1) return ticks;
    if (axis.isLogarithmic) {
        for (double power = 1.0; power <= axis.to; power *= 10.0) {
            for (const double factor : {1.0, 2.0, 5.0}) {
                if (factor * power >= axis.from && factor * power <= axis.to) ticks.push_back(factor * power);
            }
        }
        return ticks;
    }
    const double step = RoundStep((axis.to - axis.from) / most);
    for (double i = std::ceil(axis.from / step - 1e-9); i * step <= axis.to + step * 1e-9; ++i)
        ticks.push_back(i * step);
    return ticks;
}

// As short as the distance between ticks allows; 12000 is 12k.
std::string TickText(const axis_t& axis, const std::vector<double>& ticks, double tick) {
    if (axis.isLogarithmic && tick >= 1000.0) return FixedText(tick / 1000.0, 0) + "k";
    const double step = ticks.size() > 1 ? ticks[1] - ticks[0] : 1.0;
    const int decimals =
        axis.isLogarithmic ? 0 : std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    const double shown = std::abs(tick) < step * 1e-6 ? 0.0 : tick;  // no -0
    return FixedText(shown, decimals);
}

}  // namespace

Chart_t::Chart_t(Canvas_t& sheet, const box_t& place, axis_t xAxis, axis_t yAxis)
    : canvas(sheet), box(place), x(std::move(xAxis)), y(std::move(yAxis)) {
    for (axis_t* axis : {&x, &y}) {  // of a sound without frames
        if (!(axis->to > axis->from)) axis->to = axis->from + 1.0;
    }
}

double Chart_t::Place(const axis_t& axis, double value, double start, double length) const {
    double share = (value - axis.from) / (axis.to - axis.from);
    if (axis.isLogarithmic) share = std::log(value / axis.from) / std::log(axis.to / axis.from);
    return start + std::clamp(share, 0.0, 1.0) * length;
}

double Chart_t::X(double value) const { return Place(x, value, box.x, box.width); }
double Chart_t::Y(double value) const { return Place(y, value, box.Bottom(), -box.height); }

void Chart_t::DrawBack() {
    canvas.Fill(box, Theme().inset);
    DrawXGrid();
    DrawYGrid();
}

void Chart_t::DrawXGrid() {
    const std::vector<double> ticks = Ticks(x, std::max(1, static_cast<int>(box.width / pixelsPerXTick)));
    for (const double tick : ticks) {
        const double at = std::round(X(tick)) + 0.5;
        canvas.Line(at, box.y, at, box.Bottom(), Theme().grid);
        if (x.hasLabels)
            canvas.Text(at, box.Bottom() + 14, TickText(x, ticks, tick), Theme().faintInk, align_t::centre,
                        labelSize);
    }
    if (x.hasLabels && !x.unit.empty())
        canvas.Text(box.Right(), box.Bottom() + 28, x.unit, Theme().faintInk, align_t::right, labelSize);
}

void Chart_t::DrawYGrid() {
    if (!y.hasLabels) return;
    const std::vector<double> ticks = Ticks(y, std::max(1, static_cast<int>(box.height / pixelsPerYTick)));
    for (const double tick : ticks) {
        const double at = std::round(Y(tick)) + 0.5;
        canvas.Line(box.x, at, box.Right(), at, Theme().grid);
        canvas.Text(box.x - 6, at + 3.5, TickText(y, ticks, tick), Theme().faintInk, align_t::right,
                    labelSize);
    }
    cairo_t* cairo = canvas.Cairo();
    cairo_save(cairo);
    cairo_translate(cairo, box.x - 46, box.y + box.height / 2);
    cairo_rotate(cairo, -std::acos(0.0));
    canvas.Text(0, 0, y.unit, Theme().faintInk, align_t::centre, labelSize);
    cairo_restore(cairo);
}

void Chart_t::DrawFrame() {
    canvas.SetColor(Theme().grey);
    cairo_set_line_width(canvas.Cairo(), 1.0);
    cairo_rectangle(canvas.Cairo(), std::round(box.x) + 0.5, std::round(box.y) + 0.5,
                    std::round(box.width) - 1, std::round(box.height) - 1);
    cairo_stroke(canvas.Cairo());
}

void Chart_t::DrawLegend(const std::vector<legend_entry_t>& entries) const {
    double at = box.x;
    const double middle = box.y - 11;
    for (const legend_entry_t& entry : entries) {
        switch (entry.mark) {
            case mark_t::line:
                canvas.Line(at, middle, at + 16, middle, entry.color, 2.0);
                break;
            case mark_t::area:
                canvas.Fill({at, middle - 5, 16, 10}, entry.color);
                break;
            case mark_t::tick:
                canvas.Line(at + 8, middle - 6, at + 8, middle + 6, entry.color, 2.0);
                break;
            case mark_t::dot:
                canvas.SetColor(entry.color);
                cairo_arc(canvas.Cairo(), at + 8, middle, 3.5, 0, 4 * std::acos(0.0));
                cairo_fill(canvas.Cairo());
                break;
        }
        at += 21;
        at += canvas.Text(at, middle + 4, entry.text, Theme().ink, align_t::left, labelSize) + 18;
    }
}

void Chart_t::Curve(const std::vector<point_t>& points, const color_t& color, double thickness) const {
    cairo_t* cairo = canvas.Cairo();
    canvas.Clip(box);
    canvas.SetColor(color);
    cairo_set_line_width(cairo, thickness);
    cairo_set_line_join(cairo, CAIRO_LINE_JOIN_ROUND);
    bool isOpen = false;
    for (const point_t& point : points) {
        if (!std::isfinite(point.y)) {
            isOpen = false;
            continue;
        }
        isOpen ? cairo_line_to(cairo, X(point.x), Y(point.y)) : cairo_move_to(cairo, X(point.x), Y(point.y));
        isOpen = true;
    }
    cairo_stroke(cairo);
    canvas.Unclip();
}

void Chart_t::Band(double from, double to, const color_t& color) const {
    const double left = X(from);
    canvas.Fill({left, box.y, std::max(X(to) - left, 1.0), box.height}, color);
}

}  // namespace tools
