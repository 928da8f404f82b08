// picture_canvas.cpp - see the header.
#include "tools/picture_canvas.h"

#include <cairo-svg.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tools/text_table.h"

namespace tools {

namespace {

constexpr double pngPixels = 2.0;  // for screens of that density, and for print
constexpr const char* fontFamily = "sans-serif";

cairo_status_t Append(void* bytes, const unsigned char* data, unsigned length) {
    static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

}  // namespace

const theme_t lightTheme{Hex(0xffffff), Hex(0xf6f7f9), Hex(0x1b1f24), Hex(0x57606a),
                         Hex(0xdde1e6), Hex(0x1f6fd6), Hex(0x1a7f37), Hex(0xb35900),
                         Hex(0xcf222e), Hex(0x8250df), Hex(0x8c959f)};
const theme_t darkTheme{Hex(0x14171c), Hex(0x1b1f26), Hex(0xe8ebef), Hex(0xa3acb8),
                        Hex(0x313844), Hex(0x6cb0ff), Hex(0x4ac26b), Hex(0xf0a74a),
                        Hex(0xff6b6b), Hex(0xbf9bff), Hex(0x8b949e)};

std::string CleanText(std::string_view text) {
    const std::string plain = Printable(text);
    const nlohmann::json json = plain;
    return nlohmann::json::parse(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace))
        .get<std::string>();
}

Canvas_t::Canvas_t(picture_format_t wanted, double width, double height, const theme_t& sheetTheme,
                   bool isOpaque)
    : theme(sheetTheme), format(wanted) {
    if (format == picture_format_t::svg) {
        surface = cairo_svg_surface_create_for_stream(Append, &bytes, width, height);
    } else {
        surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(width * pngPixels),
                                             static_cast<int>(height * pngPixels));
    }
    context = cairo_create(surface);
    if (format == picture_format_t::png) cairo_scale(context, pngPixels, pngPixels);
    if (isOpaque) Fill({0, 0, width, height}, theme.paper);
}

Canvas_t::~Canvas_t() {
    cairo_destroy(context);
    cairo_surface_destroy(surface);
}

void Canvas_t::SetColor(const color_t& color) {
    cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
}

void Canvas_t::Fill(const box_t& box, const color_t& color) {
    SetColor(color);
    cairo_rectangle(context, box.x, box.y, box.width, box.height);
    cairo_fill(context);
}

void Canvas_t::Line(double fromX, double fromY, double toX, double toY, const color_t& color,
                    double thickness) {
    SetColor(color);
    cairo_set_line_width(context, thickness);
    cairo_move_to(context, fromX, fromY);
    cairo_line_to(context, toX, toY);
    cairo_stroke(context);
}

double Canvas_t::TextWidth(std::string_view text, double size) {
    cairo_text_extents_t extents;
    cairo_set_font_size(context, size);
    cairo_text_extents(context, CleanText(text).c_str(), &extents);
    return extents.x_advance;
}

double Canvas_t::Text(double x, double y, std::string_view text, const color_t& color, align_t align,
                      double size, bool isBold) {
    cairo_select_font_face(context, fontFamily, CAIRO_FONT_SLANT_NORMAL,
                           isBold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    const double textWidth = TextWidth(text, size);
    const double shift = align == align_t::left ? 0.0 : align == align_t::centre ? textWidth / 2 : textWidth;
    SetColor(color);
    cairo_move_to(context, x - shift, y);
    cairo_show_text(context, CleanText(text).c_str());
    return textWidth;
}

std::string Canvas_t::Shortened(std::string_view text, double mostWidth, double size) {
    std::string shortened = CleanText(text);
    cairo_select_font_face(context, fontFamily, CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    if (TextWidth(shortened, size) <= mostWidth) return shortened;
    while (!shortened.empty() && TextWidth(shortened + "…", size) > mostWidth) {
        // Whole characters: a byte 10xxxxxx goes on with one.
        while (shortened.size() > 1 && (static_cast<uint8_t>(shortened.back()) & 0xC0) == 0x80)
            shortened.pop_back();
        shortened.pop_back();
    }
    return shortened.empty() ? shortened : shortened + "…";
}

void Canvas_t::Clip(const box_t& box) {
    cairo_save(context);
    cairo_rectangle(context, box.x, box.y, box.width, box.height);
    cairo_clip(context);
}

void Canvas_t::Unclip() { cairo_restore(context); }

std::string Canvas_t::Finish() {
    bool isGood = cairo_status(context) == CAIRO_STATUS_SUCCESS;
    if (format == picture_format_t::png) {
        isGood = isGood && cairo_surface_write_to_png_stream(surface, Append, &bytes) == CAIRO_STATUS_SUCCESS;
    }
    cairo_surface_finish(surface);
    isGood = isGood && cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS;
    return isGood ? std::exchange(bytes, {}) : std::string();
}

}  // namespace tools
