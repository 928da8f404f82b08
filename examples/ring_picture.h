// ring_picture.h - draws what the engine's statistics say of its ring.
//
// The ring turns under a play cursor that stays at the top: clockwise from there comes what is heard next.
#pragma once

#include <SDL.h>
#include <ringmix/host.h>

#include <string>
#include <vector>

struct shown_voice_t {
    std::string name;
    ringmix::VoiceHandle_t voice;
    SDL_Color colour;
};

constexpr int pictureWidth = 960, pictureHeight = 600;

// A voice is an arc inside the ring, from the play cursor to where it is mixed to, and a bar beside it that
// shows its position in its sound. `keys`: a line for the bottom.
void DrawRing(SDL_Renderer* renderer, const std::vector<shown_voice_t>& voices, const char* keys);
