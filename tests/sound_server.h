// sound_server.h - a private sound server for tests: no card, no bus, no rights needed. The system output of
// this process plays into it, and what it plays is recorded, each stretch with the time at which it came.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "engine_fixture.h"
#include "scratch_folder.h"

using test_clock_t = std::chrono::steady_clock;

inline double SecondsSince(test_clock_t::time_point start) {
    return std::chrono::duration<double>(test_clock_t::now() - start).count();
}

inline void SleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// Until it holds or the time is over.
template <typename Condition>
bool WaitUntil(double seconds, Condition condition) {
    const auto start = test_clock_t::now();
    while (!condition()) {
        if (SecondsSince(start) > seconds) return false;
        SleepMs(2);
    }
    return true;
}

// A program of the system, killed with its owner and with the thread that started it.
class Process_t {
  public:
    Process_t() = default;
    ~Process_t() { Stop(SIGKILL); }
    Process_t(const Process_t&) = delete;
    Process_t& operator=(const Process_t&) = delete;

    // output: where to put the reading end of its standard output, if not null.
    bool Start(const std::vector<std::string>& command, int* output = nullptr) {
        std::vector<char*> arguments;
        for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        int ends[2] = {-1, -1};
        if (output && pipe2(ends, O_CLOEXEC) != 0) return false;
        pid = fork();
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int nowhere = open("/dev/null", O_RDWR);
            dup2(nowhere, STDIN_FILENO);
            dup2(output ? ends[1] : nowhere, STDOUT_FILENO);
            dup2(nowhere, STDERR_FILENO);
            execvp(arguments[0], arguments.data());
            _exit(127);
        }
        if (output) {
            close(ends[1]);
            *output = ends[0];
        }
        return pid > 0;
    }
    void Signal(int signal) const {
        if (pid > 0) kill(pid, signal);
    }
    int Stop(int signal) {
        if (pid <= 0) return -1;
        kill(pid, signal);
        int status = 0;
        waitpid(std::exchange(pid, -1), &status, 0);
        return status;
    }
    int Wait() { return Stop(0); }

  private:
    pid_t pid = -1;
};

inline std::string OutputOf(const std::vector<std::string>& command) {
    Process_t process;
    int output = -1;
    if (!process.Start(command, &output)) return {};
    std::string text;
    char block[4096];
    for (ssize_t count; (count = read(output, block, sizeof block)) > 0;)
        text.append(block, static_cast<size_t>(count));
    close(output);
    process.Wait();
    return text;
}

// What the server's sink plays, from about now on.
class Recorder_t {
  public:
    bool Start() {
        int output = -1;
        if (!parec.Start({"parec", "-d", "test.monitor", "--rate=44100", "--format=s16le", "--channels=2",
                          "--latency-msec=5", "--raw"},
                         &output))
            return false;
        reader = std::thread([this, output] { Read(output); });
        return WaitUntil(20, [this] { return Size() > 0; });
    }
    ~Recorder_t() { Stop(); }

    void Stop() {
        parec.Stop(SIGINT);
        if (reader.joinable()) reader.join();
    }

    size_t Size() {
        const std::lock_guard lock(mutex);
        return frames.size();
    }
    frames_t Frames() {
        const std::lock_guard lock(mutex);
        return frames;
    }

    // When frame 0 was heard, by the stretch that came with the least delay. Frame n was heard n / 44100
    // seconds later.
    test_clock_t::time_point Origin() {
        const std::lock_guard lock(mutex);
        return origin;
    }

  private:
    void Read(int output) {
        uint8_t block[8192];
        size_t filled = 0;
        for (ssize_t count; (count = read(output, block + filled, sizeof block - filled)) > 0;) {
            const auto now = test_clock_t::now();
            filled += static_cast<size_t>(count);
            const size_t whole = filled / sizeof(frame_t);
            const std::lock_guard lock(mutex);
            const size_t before = frames.size();
            frames.resize(before + whole);
            std::memcpy(frames.data() + before, block, whole * sizeof(frame_t));
            filled -= whole * sizeof(frame_t);
            std::memmove(block, block + whole * sizeof(frame_t), filled);
            // The last frame of the stretch cannot have been heard later than now.
            const auto candidate = now - std::chrono::nanoseconds(frames.size() * 1'000'000'000ull / 44100);
            if (before == 0 || candidate < origin) origin = candidate;
        }
        close(output);
    }

    Process_t parec;
    std::thread reader;
    std::mutex mutex;
    frames_t frames;
    test_clock_t::time_point origin;
};

// While it lives, the system's default device in this process is a server with one sink, "test".
class SoundServer_t {
  public:
    SoundServer_t() {
        SetVariable("XDG_RUNTIME_DIR", folder.path.string());
        SetVariable("HOME", folder.path.string());
        SetVariable("PULSE_SERVER", "unix:" + Socket());
        // Without it the client library leaves its shared memory behind in a process that goes on.
        folder.Write("client.conf", "autospawn = no\nenable-shm = no\n");
        SetVariable("PULSE_CLIENTCONFIG", folder.At("client.conf"));
    }
    ~SoundServer_t() {
        Kill();
        for (const auto& [name, value] : before) {
            if (value) {
                setenv(name.c_str(), value->c_str(), 1);
            } else {
                unsetenv(name.c_str());
            }
        }
    }

    static bool IsInstalled() {
        for (const char* program : {"pulseaudio", "parec", "pactl"}) {
            if (access((std::string("/usr/bin/") + program).c_str(), X_OK) != 0) return false;
        }
        return true;
    }

    // Returns when it answers.
    bool Start() {
        std::filesystem::remove(Socket());
        return server.Start({"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                             "--disable-shm=yes", "--realtime=no", "--high-priority=no", "-L",
                             "module-null-sink sink_name=test rate=44100 format=s16le channels=2 norewinds=1",
                             "-L", "module-native-protocol-unix socket=" + Socket() + " auth-anonymous=1"}) &&
               WaitUntil(20, [this] {
                   return std::filesystem::exists(Socket()) &&
                          OutputOf({"pactl", "list", "short", "sinks"}).find("test") != std::string::npos;
               });
    }
    void Kill() {
        server.Signal(SIGCONT);
        server.Stop(SIGKILL);
    }
    void Freeze() const { server.Signal(SIGSTOP); }
    void Thaw() const { server.Signal(SIGCONT); }

  private:
    std::string Socket() const { return folder.At("pulse.sock"); }

    void SetVariable(const char* name, const std::string& value) {
        const char* old = std::getenv(name);
        before.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
        setenv(name, value.c_str(), 1);
    }

    ScratchFolder_t folder;
    Process_t server;
    std::vector<std::pair<std::string, std::optional<std::string>>> before;
};
