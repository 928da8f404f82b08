#include "ring_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "tiny_font.h"

namespace {

constexpr float centreX = 300.0f, centreY = 290.0f, innerRadius = 196.0f, outerRadius = 240.0f;
constexpr float voiceRadius = 180.0f, voiceStep = 14.0f, voiceThickness = 8.0f;
constexpr int listX = 610, barWidth = 310;
constexpr std::size_t mostVoices = 9;  // what there is room for

constexpr SDL_Color background{18, 20, 27, 255}, text{222, 226, 235, 255}, faint{128, 136, 152, 255},
    queuedColour{45, 178, 160, 255}, mixedColour{226, 163, 60, 255}, farColour{42, 47, 60, 255},
    pastColour{66, 72, 90, 255}, cursorColour{255, 255, 255, 255}, horizonColour{232, 88, 88, 255};

void SetColour(SDL_Renderer* renderer, SDL_Color colour) {
    SDL_SetRenderDrawColor(renderer, colour.r, colour.g, colour.b, colour.a);
}

[[gnu::format(printf, 5, 6)]] void Print(SDL_Renderer* renderer, int x, int y, SDL_Color colour,
                                         const char* form, ...) {
    char line[128];
    va_list values;
    va_start(values, form);
    std::vsnprintf(line, sizeof line, form, values);
    va_end(values);
    SetColour(renderer, colour);
    tiny_font::Draw(renderer, x, y, 2, line);
}

// A point on a circle; `turn` counts clockwise from the top, 1.0 is all the way round.
SDL_FPoint OnCircle(float turn, float radius) {
    const float angle = turn * 6.2831853f;
    return {centreX + radius * std::sin(angle), centreY - radius * std::cos(angle)};
}

void DrawArc(SDL_Renderer* renderer, float fromTurn, float toTurn, float radius, float thickness,
             SDL_Color colour) {
    const int steps = std::max(1, static_cast<int>((toTurn - fromTurn) * 360.0f));
    std::vector<SDL_Vertex> corners;
    for (int i = 0; i <= steps; ++i) {
        const float turn = fromTurn + (toTurn - fromTurn) * static_cast<float>(i) / static_cast<float>(steps);
        corners.push_back({OnCircle(turn, radius), colour, {}});
        corners.push_back({OnCircle(turn, radius + thickness), colour, {}});
    }
    std::vector<int> triangles;
    for (int i = 0; i < 2 * steps; ++i) triangles.insert(triangles.end(), {i, i + 1, i + 2});
    SDL_RenderGeometry(renderer, nullptr, corners.data(), static_cast<int>(corners.size()), triangles.data(),
                       static_cast<int>(triangles.size()));
}

void DrawMark(SDL_Renderer* renderer, float turn, SDL_Color colour, const char* name) {
    DrawArc(renderer, turn - 0.002f, turn + 0.002f, innerRadius - 6, outerRadius - innerRadius + 14, colour);
    const SDL_FPoint at = OnCircle(turn, outerRadius + 22);
    const int width = static_cast<int>(SDL_strlen(name)) * tiny_font::advance * 2;
    const float shift = turn > 0.5f ? 1.0f : turn < 0.02f ? 0.5f : 0.0f;  // away from the ring
    Print(renderer, static_cast<int>(at.x - shift * static_cast<float>(width)), static_cast<int>(at.y) - 5,
          colour, "%s", name);
}

void DrawLegend(SDL_Renderer* renderer, int y, SDL_Color colour, const char* what, float ms) {
    const SDL_Rect square{listX, y, 12, 12};
    SetColour(renderer, colour);
    SDL_RenderFillRect(renderer, &square);
    Print(renderer, listX + 22, y + 1, text, "%-24s %4.0f MS", what, static_cast<double>(ms));
}

void DrawVoice(SDL_Renderer* renderer, const shown_voice_t& shown, int row, float mixedTurn) {
    const float radius = voiceRadius - voiceStep * static_cast<float>(row);
    DrawArc(renderer, 0.0f, mixedTurn, radius, voiceThickness, shown.colour);
    const uint32_t length = std::max(1u, shown.voice.GetLength());
    const int y = 262 + 32 * row;
    Print(renderer, listX, y, text, "%s", shown.name.c_str());
    SDL_Rect bar{listX, y + 14, barWidth, 6};
    SetColour(renderer, farColour);
    SDL_RenderFillRect(renderer, &bar);
    bar.w = static_cast<int>(uint64_t{shown.voice.GetPosition()} * barWidth / length);
    SetColour(renderer, shown.colour);
    SDL_RenderFillRect(renderer, &bar);
}

}  // namespace

void DrawRing(SDL_Renderer* renderer, const std::vector<shown_voice_t>& voices, const char* keys) {
    const ringmix::engine_statistics_t now = ringmix::GetStatistics();
    const uint32_t ring = std::max(1u, now.ringFrames);
    const uint32_t play = (now.outputFrame + ring - now.queuedFrames % ring) % ring;
    const auto turnOf = [&](uint32_t frame) {  // 0.0: heard now
        return static_cast<float>((frame + ring - play) % ring) / static_cast<float>(ring);
    };
    const auto msOf = [&](float turns) { return turns * static_cast<float>(ring) / 44.1f; };
    const float written = turnOf(now.outputFrame), clear = turnOf(now.clearFrame),
                horizon = std::max(written, turnOf((now.baseFrame + now.horizonFrames) % ring));

    SetColour(renderer, background);
    SDL_RenderClear(renderer);
    const float thickness = outerRadius - innerRadius;
    DrawArc(renderer, 0.0f, written, innerRadius, thickness, queuedColour);
    DrawArc(renderer, written, horizon, innerRadius, thickness, mixedColour);
    DrawArc(renderer, horizon, std::max(horizon, clear), innerRadius, thickness, farColour);
    DrawArc(renderer, std::max(horizon, clear), 1.0f, innerRadius, thickness, pastColour);
    DrawMark(renderer, 0.0f, cursorColour, "PLAY");
    DrawMark(renderer, written, queuedColour, "WRITE");
    DrawMark(renderer, horizon, horizonColour, "HORIZON");
    DrawMark(renderer, clear, faint, "CLEAR");

    Print(renderer, listX, 40, text, "RINGMIX   A RING OF %.0f MS", static_cast<double>(msOf(1.0f)));
    DrawLegend(renderer, 72, queuedColour, "IN THE DEVICE", msOf(written));
    DrawLegend(renderer, 94, mixedColour, "MIXED, NOT YET SENT", msOf(horizon - written));
    DrawLegend(renderer, 116, farColour, "STILL SILENT", msOf(std::max(0.0f, clear - horizon)));
    DrawLegend(renderer, 138, pastColour, "HEARD ALREADY", msOf(1.0f - std::max(horizon, clear)));
    Print(renderer, listX, 172, faint, "%u VOICES   %llu KB OF SOUNDS   %u UNDERRUNS", now.playingVoices,
          static_cast<unsigned long long>(now.soundBytes / 1024), now.underruns);
    Print(renderer, listX, 230, faint, "VOICES");
    for (std::size_t i = 0; i < std::min(voices.size(), mostVoices); ++i) {
        const uint32_t ahead = ringmix::GetStatistics(voices[i].voice).aheadFrames;
        DrawVoice(renderer, voices[i], static_cast<int>(i),
                  ahead > 0 ? turnOf((now.baseFrame + ahead) % ring) : 0.0f);
    }
    Print(renderer, 24, pictureHeight - 30, faint, "%s", keys);
}
