// A window whose keys play sounds, and a live picture of the ring that they are mixed into.
//   sdl_host [--frames N] [--keys FRAME:KEY,...] [--picture FILE.bmp] [--backend NAME] SOUND...
//
// Keys: 1 to 9 play a sound once, F1 to F9 loop it or end the loop, arrows change pan and pitch, S makes the
// host late by 100 ms, P pauses, space stops all, escape quits. The options are for runs without a person:
// how long, which keys in which frames, a picture of the last frame. Backend "manual": as fast as it goes.
#include <SDL.h>
#include <ringmix/audio_wrapper.h>
#include <ringmix/host.h>
#include <ringmix/output_selection.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ring_picture.h"

namespace {

constexpr unsigned outputFrames = 735;  // 1/60 second
constexpr unsigned stallMs = 100;       // the engine's default allows 125

struct arguments_t {
    unsigned frames = 0;  // 0: until somebody quits
    const char* keys = "";
    const char* picture = nullptr;
    const char* backend = nullptr;
    std::vector<const char*> sounds;
};

struct host_t {
    std::vector<ringmix::SoundHandle_t> sounds;
    std::vector<shown_voice_t> voices;
    float pan = 0.0f, frequency = 1.0f;
    bool isPaused = false, mustQuit = false;
    unsigned started = 0, ended = 0, stopped = 0;
};

bool Check(const ringmix::result_t& result) {
    if (!result) std::fprintf(stderr, "sdl_host: %s\n", result.text);
    return static_cast<bool>(result);
}

bool ReadArguments(int argc, char** argv, arguments_t& arguments) {
    for (int i = 1; i < argc; ++i) {
        const bool hasValue = std::strncmp(argv[i], "--", 2) == 0;
        if (hasValue && i + 1 == argc) return false;
        if (!hasValue) {
            arguments.sounds.push_back(argv[i]);
        } else if (std::strcmp(argv[i], "--frames") == 0) {
            arguments.frames = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
        } else if (std::strcmp(argv[i], "--keys") == 0) {
            arguments.keys = argv[++i];
        } else if (std::strcmp(argv[i], "--picture") == 0) {
            arguments.picture = argv[++i];
        } else if (std::strcmp(argv[i], "--backend") == 0) {
            arguments.backend = argv[++i];
        } else {
            return false;
        }
    }
    return !arguments.sounds.empty();
}

bool StartEngine(const char* backend) {
    ringmix::start_options_t options;
    options.backend = backend;
    if (!backend && ringmix::Start(options)) return true;
    if (!backend) options.backend = "null";  // a machine without a sound output
    return Check(ringmix::Start(options));
}

float LeftOf(float pan) { return std::min(1.0f, 1.0f - pan); }
float RightOf(float pan) { return std::min(1.0f, 1.0f + pan); }

// Once, or over and over until the same key ends it.
void Play(host_t& host, std::size_t index, bool isLooping) {
    static constexpr SDL_Color colours[] = {{111, 168, 255, 255}, {255, 138, 128, 255}, {158, 220, 110, 255},
                                            {206, 147, 255, 255}, {255, 203, 92, 255},  {96, 214, 230, 255}};
    if (index >= host.sounds.size()) return;
    const ringmix::SoundHandle_t sound = host.sounds[index];
    std::string name = std::to_string(index + 1) + " " + sound.GetName() + (isLooping ? " (loop)" : "");
    const auto known = std::find_if(host.voices.begin(), host.voices.end(),
                                    [&](const shown_voice_t& shown) { return shown.name == name; });
    if (isLooping && known != host.voices.end()) {
        known->voice.Free();  // the news drop it from the list
        return;
    }
    ringmix::voice_options_t options;
    options.isLooping = isLooping;
    options.leftVolume = LeftOf(host.pan);
    options.rightVolume = RightOf(host.pan);
    options.frequency = host.frequency;
    ringmix::VoiceHandle_t voice;
    if (!Check(isLooping ? sound.MakeVoice(voice, options) : sound.PlayOnce(voice, options))) return;
    if (isLooping) voice.Play();
    host.voices.push_back({name, voice, colours[host.started++ % std::size(colours)]});
}

void Turn(host_t& host, float panStep, float frequencyFactor) {
    host.pan = std::clamp(host.pan + panStep, -1.0f, 1.0f);
    host.frequency = std::clamp(host.frequency * frequencyFactor, 0.25f, 4.0f);
    for (const shown_voice_t& shown : host.voices) {
        shown.voice.SetVolume(LeftOf(host.pan), RightOf(host.pan));
        shown.voice.SetFrequency(host.frequency);
    }
}

void BeLate() {
    if (OutputSelection_t::PlayManual(nullptr, stallMs * 441 / 10) == 0) SDL_Delay(stallMs);
}

void OnKey(host_t& host, SDL_Keycode key) {
    if (key >= SDLK_1 && key <= SDLK_9) return Play(host, static_cast<std::size_t>(key - SDLK_1), false);
    if (key >= SDLK_F1 && key <= SDLK_F9) return Play(host, static_cast<std::size_t>(key - SDLK_F1), true);
    switch (key) {
        case SDLK_LEFT:
            return Turn(host, -0.25f, 1.0f);
        case SDLK_RIGHT:
            return Turn(host, 0.25f, 1.0f);
        case SDLK_UP:
            return Turn(host, 0.0f, 1.059463f);  // a semitone
        case SDLK_DOWN:
            return Turn(host, 0.0f, 1.0f / 1.059463f);
        case SDLK_s:
            return BeLate();
        case SDLK_p:
            host.isPaused = !host.isPaused;
            return host.isPaused ? AudioWrapper_t::Pause() : AudioWrapper_t::Resume();
        case SDLK_SPACE:
            for (const shown_voice_t& shown : host.voices) shown.voice.Free();
            return;
        case SDLK_ESCAPE:
            host.mustQuit = true;
            return;
        default:
            return;
    }
}

// Feeds the keys that are due in this frame to SDL, as if somebody had pressed them.
void PressScriptedKeys(const char* script, unsigned frame) {
    for (const char* entry = script; entry && *entry; entry = std::strchr(entry, ',')) {
        if (*entry == ',') ++entry;
        char* name = nullptr;
        if (std::strtoul(entry, &name, 10) != frame || *name != ':') continue;
        SDL_Event press{};
        press.type = SDL_KEYDOWN;
        press.key.keysym.sym = SDL_GetKeyFromName(std::string(name + 1, std::strcspn(name + 1, ",")).c_str());
        SDL_PushEvent(&press);
    }
}

void ReadEvents(host_t& host) {
    for (SDL_Event event; SDL_PollEvent(&event) != 0;) {
        if (event.type == SDL_QUIT) host.mustQuit = true;
        if (event.type == SDL_KEYDOWN && event.key.repeat == 0) OnKey(host, event.key.keysym.sym);
    }
}

// What has ended since the frame before. Nothing is called back: the list is there when the host has time.
void ReadNews(host_t& host) {
    for (ringmix::news_t news; ringmix::TakeNews(news);) {
        ++(news.kind == ringmix::news_kind_t::ended ? host.ended : host.stopped);
        const auto isIt = [&](const shown_voice_t& shown) { return shown.voice == news.voice; };
        host.voices.erase(std::remove_if(host.voices.begin(), host.voices.end(), isIt), host.voices.end());
    }
}

bool SavePicture(SDL_Renderer* renderer, const char* path) {
    const std::unique_ptr<SDL_Surface, decltype(&SDL_FreeSurface)> surface(
        SDL_CreateRGBSurfaceWithFormat(0, pictureWidth, pictureHeight, 24, SDL_PIXELFORMAT_BGR24),
        SDL_FreeSurface);
    return surface &&
           SDL_RenderReadPixels(renderer, nullptr, SDL_PIXELFORMAT_BGR24, surface->pixels, surface->pitch) ==
               0 &&
           SDL_SaveBMP(surface.get(), path) == 0;
}

// The host's frames, until somebody quits.
bool Run(host_t& host, SDL_Renderer* renderer, const arguments_t& arguments) {
    for (unsigned frame = 0; !host.mustQuit && (arguments.frames == 0 || frame < arguments.frames); ++frame) {
        const Uint64 due = SDL_GetTicks64() + 16;
        PressScriptedKeys(arguments.keys, frame);
        ReadEvents(host);
        if (!host.isPaused) AudioWrapper_t::MixVoices();
        ReadNews(host);
        DrawRing(renderer, host.voices,
                 "1-9 PLAY   F1-F9 LOOP   ARROWS PAN, PITCH   S LATE HOST   P PAUSE   SPACE STOP   ESC QUIT");
        if (arguments.picture && frame + 1 == arguments.frames && !SavePicture(renderer, arguments.picture))
            return false;
        SDL_RenderPresent(renderer);
        const bool isManual = OutputSelection_t::PlayManual(nullptr, outputFrames) > 0;
        const Uint64 now = SDL_GetTicks64();
        if (!isManual && now < due) SDL_Delay(static_cast<Uint32>(due - now));
    }
    return true;
}

bool LoadAndRun(const arguments_t& arguments, SDL_Renderer* renderer) {
    host_t host;
    for (const char* path : arguments.sounds) {
        ringmix::SoundHandle_t sound;
        if (!Check(ringmix::SoundHandle_t::Load(path, nullptr, sound))) return false;
        host.sounds.push_back(sound);
    }
    ringmix::Loader_t loader;  // for sounds that stay in their files; ends before the engine does
    if (!Check(loader.Start()) || !Run(host, renderer, arguments)) return false;
    std::printf("started %u, ended %u, stopped %u, underruns %u\n", host.started, host.ended, host.stopped,
                ringmix::GetStatistics().underruns);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    arguments_t arguments;
    if (!ReadArguments(argc, argv, arguments))
        return std::fprintf(stderr,
                            "usage: sdl_host [--frames N] [--keys FRAME:KEY,...] [--picture FILE.bmp] "
                            "[--backend NAME] SOUND...\n"),
               2;
    SDL_Window* window = nullptr;
    SDL_Renderer* renderer = nullptr;
    bool hasRun = false;
    if (SDL_Init(SDL_INIT_VIDEO) != 0 ||
        SDL_CreateWindowAndRenderer(pictureWidth, pictureHeight, 0, &window, &renderer) != 0) {
        std::fprintf(stderr, "sdl_host: %s\n", SDL_GetError());
    } else if (StartEngine(arguments.backend)) {
        hasRun = LoadAndRun(arguments, renderer);
        ringmix::Stop();
    }
    SDL_DestroyRenderer(renderer);
    SDL_DestroyWindow(window);
    SDL_Quit();
    return hasRun ? 0 : 1;
}
