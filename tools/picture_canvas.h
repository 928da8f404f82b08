// picture_canvas.h - a sheet to draw on, in a light or a dark dress, that becomes a PNG or SVG file. Cairo
// behind it.
#pragma once

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tools {

struct color_t {
    double red = 0.0, green = 0.0, blue = 0.0, alpha = 1.0;
};

constexpr color_t Hex(uint32_t rgb, double alpha = 1.0) {
    return {(rgb >> 16 & 255) / 255.0, (rgb >> 8 & 255) / 255.0, (rgb & 255) / 255.0, alpha};
}

// The colours differ in lightness too, so that they stay apart for those who see fewer of them.
struct theme_t {
    color_t paper, inset, ink, faintInk, grid;
    color_t blue, green, amber, red, violet, grey;
};

extern const theme_t lightTheme, darkTheme;

enum class picture_format_t { png, svg };

// Where the text's point lies in it.
enum class align_t { left, centre, right };

struct box_t {
    double x = 0, y = 0, width = 0, height = 0;

    double Right() const { return x + width; }
    double Bottom() const { return y + height; }
};

class Canvas_t {
  public:
    // In pixels; a PNG has two of its own for each. `isOpaque`: on the theme's paper.
    Canvas_t(picture_format_t format, double width, double height, const theme_t& theme, bool isOpaque);
    Canvas_t(const Canvas_t&) = delete;
    Canvas_t& operator=(const Canvas_t&) = delete;
    ~Canvas_t();

    const theme_t& Theme() const { return theme; }
    cairo_t* Cairo() const { return context; }

    void SetColor(const color_t& color);
    void Fill(const box_t& box, const color_t& color);
    void Line(double fromX, double fromY, double toX, double toY, const color_t& color,
              double thickness = 1.0);
    // y is the base line. Any bytes are drawn: what is no UTF-8 is replaced. Returns the width.
    double Text(double x, double y, std::string_view text, const color_t& color,
                align_t align = align_t::left, double size = 11.0, bool isBold = false);
    double TextWidth(std::string_view text, double size = 11.0);
    // The text, cut to that width with an ellipsis.
    std::string Shortened(std::string_view text, double mostWidth, double size = 11.0);
    // All that is drawn between the two stays inside the box.
    void Clip(const box_t& box);
    void Unclip();

    // The bytes of the file; empty if there was no memory for it. Nothing can be drawn then.
    std::string Finish();

  private:
    const theme_t& theme;
    std::string bytes;
    cairo_surface_t* surface;
    cairo_t* context;
    picture_format_t format;
};

// With what is no UTF-8 replaced, and control characters left out.
std::string CleanText(std::string_view text);

}  // namespace tools
