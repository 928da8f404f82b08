// play_command.cpp - ringmix play FILE...: heard through the machine's sound output.
//
// A voice counts as ended when it has been mixed to its end, which lies ahead of what is heard: the next one
// starts when the output has got there.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <sstream>
#include <utility>

#include "core/audio_system.h"
#include "platform/output_backends.h"
#include "platform/output_status.h"
#include "sounds/sound.h"
#include "streaming/base_stream.h"
#include "tools/commands.h"
#include "tools/interrupt.h"
#include "tools/keyboard.h"
#include "tools/level_meter.h"
#include "tools/live_engine.h"
#include "tools/number_text.h"
#include "tools/play_list.h"
#include "tools/subcommands.h"
#include "tools/terminal.h"
#include "tools/text_table.h"
#include "voices/voice.h"

namespace tools {

namespace {

constexpr char footer[] =
    "FILE is anything that import takes, a sound file of the engine (.sn, .isn, .ssn, .iss), or an archive, "
    "whose\n"
    "sounds are played one after the other. Keys on a terminal: space pauses, left and right seek by 5 "
    "seconds,\n"
    "up and down change the volume, q quits.\n\n"
    "  ringmix play rain.flac --volume 0.8,0.4 --loop\n"
    "  ringmix play effects.archive --device hw:1\n"
    "  ringmix play rain.sn --device null --seconds 2     # for a machine without sound\n";

constexpr double seekSeconds = 5, outputRate = 44100;
constexpr float volumeStep = 0.05f;
constexpr uint32_t ticksPerLine = 6;  // a tenth of a second
constexpr uint32_t framesPerLine = 4410;
constexpr uint32_t drainFrames = 4410;  // beyond the lead: what a sound server keeps

struct volume_pair_t {
    float left = 1, right = 1;
};

struct arguments_t {
    std::vector<std::string> files;
    std::string volume = "1";
    float frequency = 1.0f;
    double seconds = 0;
    bool isLooping = false;
    std::string device;
};

bool ReadVolume(const std::string& text, volume_pair_t& volume) {
    const size_t comma = text.find(',');
    const std::string right = comma == std::string::npos ? text : text.substr(comma + 1);
    return CLI::detail::lexical_cast(text.substr(0, comma), volume.left) &&
           CLI::detail::lexical_cast(right, volume.right) && volume.left >= 0 && volume.left <= 1 &&
           volume.right >= 0 && volume.right <= 1;
}

// "" if it is one; CLI11 shows anything else as the trouble with the option.
std::string CheckVolume(const std::string& text) {
    volume_pair_t ignored;
    return ReadVolume(text, ignored) ? "" : "a volume is one number or two, LEFT,RIGHT, from 0 to 1";
}

std::string CheckFrequency(const std::string& text) {
    float frequency = 0;
    const bool isValid = CLI::detail::lexical_cast(text, frequency) && frequency >= 0.2f && frequency < 8.0f;
    return isValid ? "" : "a frequency is a number from 0.2 up to, but not including, 8";
}

std::string CheckSeconds(const std::string& text) {
    double seconds = 0;
    return CLI::detail::lexical_cast(text, seconds) && seconds > 0 ? "" : "seconds are a number above 0";
}

std::string TimeText(double seconds) {
    const auto whole = static_cast<uint64_t>(std::max(seconds, 0.0));
    const std::string rest = FixedText(std::max(seconds, 0.0) - static_cast<double>(whole / 60 * 60), 1);
    return std::to_string(whole / 60) + (rest.size() < 4 ? ":0" : ":") + rest;
}

class Player_t {
  public:
    Player_t(LiveEngine_t& running, const arguments_t& wanted) : engine(running), arguments(wanted) {
        ReadVolume(wanted.volume, volume);
    }
    ~Player_t() {
        if (showsLine && ticks > 0) std::fputs("\r\x1b[K", stderr);
    }
    Player_t(const Player_t&) = delete;
    Player_t& operator=(const Player_t&) = delete;

    // False: that was the last one, as the user or the time says.
    bool Play(const play_entry_t& entry, bool isLooping) {
        voice = entry.sound->CreateCompatibleVoice(0);
        voice->isLooping = isLooping;
        voice->SetFrequency(arguments.frequency);
        voice->SetVolume(volume.left, volume.right);
        AudioSystem::LoadStreams();  // what a stream begins with; the loader reads on from there
        engine.Tick();               // a host that was busy until now is late: a start would be, too
        voice->Play();
        title = Printable(entry.title);
        length = voice->totalLength;
        rate = outputRate / std::max(entry.sound->rateDivisor, 1u);
        bool goesOn = true;
        while (goesOn && voice->isPlaying) goesOn = RunFrame();
        // What is mixed has to be sent, and what is sent to be played.
        const uint64_t end = engine.OutputFrames() + (AudioSystem::mixHorizon + AudioSystem::outputLimit) / 2;
        while (goesOn && engine.OutputFrames() < end) goesOn = RunFrame();
        delete std::exchange(voice, nullptr);
        return goesOn;
    }

    // Lets what is queued be heard.
    void Drain() {
        const uint64_t end = engine.OutputFrames() + platform::OutputStatus().leadFrames + drainFrames;
        while (!Interrupted() && engine.OutputFrames() < end) {
            engine.Tick();
            engine.WaitForFrame();
        }
    }

  private:
    bool RunFrame() {
        if (!ObeyKeys() || Interrupted()) return false;
        if (!isPaused) engine.Tick();  // a tick while paused waits in vain for a pass
        engine.WaitForFrame();
        if (ticks++ % ticksPerLine == 0) ShowLine();
        return arguments.seconds <= 0 ||
               static_cast<double>(engine.OutputFrames()) < arguments.seconds * outputRate;
    }

    bool ObeyKeys() {
        for (key_t key; (key = keyboard.Read()) != key_t::none;) {
            switch (key) {
                case key_t::quit:
                    return false;
                case key_t::space:
                    isPaused = !isPaused;
                    isPaused ? AudioSystem::Pause() : AudioSystem::Resume();
                    break;
                case key_t::left:
                case key_t::right:
                    Seek(key == key_t::left ? -seekSeconds : seekSeconds);
                    break;
                default:
                    ChangeVolume(key == key_t::up ? volumeStep : -volumeStep);
            }
        }
        return true;
    }

    void Seek(double seconds) const {
        const double target = Position() + seconds * rate;
        voice->SetPos(target >= length ? length - 1 : static_cast<uint32_t>(std::max(target, 0.0)));
    }

    void ChangeVolume(float step) {
        volume.left = std::clamp(volume.left + step, 0.0f, 1.0f);
        volume.right = std::clamp(volume.right + step, 0.0f, 1.0f);
        voice->SetVolume(volume.left, volume.right);
    }

    // Of the sound, in its frames: what is heard, not how far it has been mixed.
    double Position() const {
        using namespace AudioSystem;
        const uint32_t mixedAhead = (voice->ringPosition + ringLength - ringBase) % ringLength;
        const double framesAhead = (mixedAhead + outputLimit) / 2.0;
        const double mixed = static_cast<double>(voice->queueBase) + voice->position;
        return std::max(mixed - framesAhead * voice->step / 1024, 0.0);
    }

    void ShowLine() {
        if (!showsLine) return;
        const level_pair_t level = isPaused ? level_pair_t{} : MeasureSent(framesPerLine);
        const bool isLost = platform::SelectedOutput().tellsStatus && !platform::OutputStatus().isOpen;
        std::fprintf(stderr, "\r%s  %s / %s  L %s R %s  volume %s%s\x1b[K", title.c_str(),
                     TimeText(Position() / rate).c_str(), TimeText(length / rate).c_str(),
                     LevelBar(level.left).c_str(), LevelBar(level.right).c_str(), VolumeText().c_str(),
                     isLost     ? "  (no output, waiting for it)"
                     : isPaused ? "  (paused)"
                                : "");
        std::fflush(stderr);
    }

    std::string VolumeText() const {
        const std::string left = FixedText(volume.left, 2);
        return volume.left == volume.right ? left : left + "," + FixedText(volume.right, 2);
    }

    LiveEngine_t& engine;
    const arguments_t& arguments;
    Keyboard_t keyboard;
    const bool showsLine = ShowsProgress();
    volume_pair_t volume;
    Voice_t* voice = nullptr;
    std::string title;
    uint32_t length = 0;  // frames of the sound
    double rate = 0;      // of these, a second
    uint32_t ticks = 0;
    bool isPaused = false;
};

void PrintEnd(uint64_t outputFrames) {
    const platform::output_status_t status = platform::OutputStatus();
    std::string line = "played " + FixedText(static_cast<double>(outputFrames) / outputRate, 1) + " s";
    if (platform::SelectedOutput().tellsStatus) {
        line += ", fed " + FixedText(status.leadFrames * 1000 / outputRate, 0) + " ms ahead, " +
                std::to_string(status.underruns) + " underruns, " + std::to_string(status.losses) + " losses";
    }
    PrintReport(line);
}

outcome_t Play(const arguments_t& arguments) {
    PlayList_t list;
    if (outcome_t prepared = list.Prepare(arguments.files); !prepared) return prepared;
    LiveEngine_t engine;
    if (outcome_t started = engine.Start(arguments.device); !started) return started;
    if (outcome_t loaded = list.Load(); !loaded) return loaded;
    {
        Player_t player(engine, arguments);
        const bool isSingle = list.Entries().size() == 1;
        bool goesOn = !list.Entries().empty();
        do {
            for (const play_entry_t& entry : list.Entries())
                goesOn = goesOn && player.Play(entry, arguments.isLooping && isSingle);
        } while (goesOn && arguments.isLooping);
        if (goesOn) player.Drain();
    }
    PrintEnd(engine.OutputFrames());
    return Success();
}

}  // namespace

command_t AddPlayCommand(CLI::App& app) {
    const auto arguments = std::make_shared<arguments_t>();
    CLI::App* command = app.add_subcommand("play", "Play files through the machine's sound output");
    command->add_option("FILE", arguments->files, "Audio files, sound files of the engine, archives")
        ->required();
    command->add_flag("--loop", arguments->isLooping, "Over and over, until q, Ctrl-C or --seconds");
    command->add_option("--volume", arguments->volume, "One number for both sides, or LEFT,RIGHT: 0 to 1 [1]")
        ->check(CLI::Validator(CheckVolume, ""));
    command->add_option("--frequency", arguments->frequency, "Speed and pitch, 0.2 up to 8 [1.0]")
        ->check(CLI::Validator(CheckFrequency, ""));
    command->add_option("--device", arguments->device,
                        "Device to play on, or null to play unheard [default]");
    command->add_option("--seconds", arguments->seconds, "Stop after so many seconds")
        ->check(CLI::Validator(CheckSeconds, ""));
    AddQuietFlag(*command);
    command->footer(footer);
    return [arguments] { return StatusOf(Play(*arguments)); };
}

}  // namespace tools
