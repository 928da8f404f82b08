// ringmix_compare - the engine beside other mixers and decoders, in one run: mixing, ADPCM, how soon a start
// is heard, memory. --json prints one object a line, --smoke takes seconds and shows only that all of it
// works.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "adpcm.h"
#include "latency.h"
#include "memory.h"
#include "mixers.h"

namespace {

const mix_case_t mixCases[] = {
    {"plain"},
    {"gain", true, true, 1, 0.75f, 0.3f},
    {"pitch", true, true, 1, 0.75f, 0.3f, 1.3f},
    {"mono16", true, false},
    {"stereo8", false, true},
    {"mono8", false, false},
    {"divisor2", true, true, 2},
    {"divisor4", true, true, 4},
    {"shared", true, true, 1, 1.0f, 1.0f, 1.0f, true},
    {"restless", true, true, 1, 1.0f, 1.0f, 1.0f, false, true},
};

// What the engine survives at its default rate from the device's buffer alone.
constexpr double defaultStallMs = 138.0;

class Report_t {
  public:
    explicit Report_t(bool isJson_) : isJson(isJson_) {}

    [[gnu::format(printf, 2, 3)]] void Text(const char* format, ...) const {
        if (isJson) return;
        va_list arguments;
        va_start(arguments, format);
        std::vprintf(format, arguments);
        va_end(arguments);
        std::fflush(stdout);
    }
    [[gnu::format(printf, 2, 3)]] void Json(const char* format, ...) const {
        if (!isJson) return;
        va_list arguments;
        va_start(arguments, format);
        std::vprintf(format, arguments);
        va_end(arguments);
        std::fflush(stdout);
    }

    // A figure of a contestant that made no sound does not count.
    bool Check(double value, const std::string& what) {
        if (value >= 0) return true;
        std::fprintf(stderr, "ringmix_compare: %s failed or was silent\n", what.c_str());
        hasFailed = true;
        return false;
    }
    bool HasFailed() const { return hasFailed; }

  private:
    bool isJson, hasFailed = false;
};

void CompareMixers(Report_t& report, const mixers_t& mixers, bool isSmoke) {
    const budget_t budget = isSmoke ? budget_t{1, 2} : budget_t{9, 60};
    const std::vector<unsigned> counts =
        isSmoke ? std::vector<unsigned>{1, 16} : std::vector<unsigned>{1, 16, 64, 256};
    const std::string& reference = mixers.front()->name;
    report.Text("nanoseconds a voice and output frame, and how many times that of %s\n%-10s %-18s",
                reference.c_str(), "case", "contestant");
    for (const unsigned voices : counts) report.Text(" %8u voices", voices);
    report.Text("\n");
    for (const mix_case_t& mixCase : mixCases) {
        std::map<std::string, std::map<unsigned, double>> figures;
        for (const unsigned voices : counts) {
            std::map<std::string, std::vector<double>> slices;
            for (int round = 0; round < budget.rounds; ++round)
                for (const auto& mixer : mixers)
                    if (mixer->Takes(mixCase))
                        slices[mixer->name].push_back(mixer->RunSlice(mixCase, voices, budget.sliceTicks));
            for (const auto& [name, values] : slices) figures[name][voices] = Median(values);
        }
        for (const auto& mixer : mixers) {
            if (!mixer->Takes(mixCase)) continue;
            report.Text("%-10s %-18s", mixCase.name, mixer->name.c_str());
            for (const unsigned voices : counts) {
                const double ns = figures[mixer->name][voices];
                if (!report.Check(ns, mixer->name + ", " + mixCase.name)) continue;
                report.Text(" %7.3f %5.1fx", ns, ns / figures[reference][voices]);
                report.Json(
                    "{\"contestant\": \"%s\", \"case\": \"%s\", \"voices\": %u, \"ns_per_voice_frame\": "
                    "%.4f}\n",
                    mixer->name.c_str(), mixCase.name, voices, ns);
            }
            report.Text("\n");
        }
    }
    // Growth: by then memory sets the pace of voices with sounds of their own.
    if (isSmoke) return;
    for (const mix_case_t& mixCase : {mixCases[0], mixCases[8]}) {
        std::map<unsigned, double> figures;
        for (const unsigned voices : {16u, 1024u}) {
            std::vector<double> values;
            for (int round = 0; round < 5; ++round)
                values.push_back(mixers.front()->RunSlice(mixCase, voices, budget.sliceTicks));
            figures[voices] = Median(values);
        }
        report.Text("%-10s %-18s 1024 voices: %.3f, %.2f times 16 voices\n", mixCase.name, reference.c_str(),
                    figures[1024], figures[1024] / figures[16]);
        report.Json(
            "{\"contestant\": \"%s\", \"case\": \"%s\", \"voices\": 1024, \"ns_per_voice_frame\": %.4f}\n",
            reference.c_str(), mixCase.name, figures[1024]);
    }
}

void ReportAdpcm(Report_t& report, bool isSmoke) {
    report.Text("\nIMA ADPCM, nanoseconds a sample\n");
    for (const adpcm_result_t& result : CompareAdpcm({isSmoke ? 1 : 15, 0})) {
        const char* name = result.isStereo ? "adpcm-stereo" : "adpcm-mono";
        if (!report.Check(result.nsPerSample, result.contestant + ", " + name)) continue;
        report.Text("%-14s %-18s %7.2f\n", name, result.contestant.c_str(), result.nsPerSample);
        report.Json("{\"contestant\": \"%s\", \"case\": \"%s\", \"ns_per_sample\": %.3f}\n",
                    result.contestant.c_str(), name, result.nsPerSample);
    }
}

void ReportTicks(Report_t& report, bool isSmoke) {
    const tick_parts_t parts = MeasureTickParts(isSmoke);
    if (!report.Check(parts.hostWorkUs, "a tick without voices")) return;
    report.Text(
        "\na tick without voices: %.2f us of the host beside the handshake; clearing %.3f and conversion "
        "%.3f ns "
        "a frame\n",
        parts.hostWorkUs, parts.clearNs, parts.convertNs);
    report.Json(
        "{\"contestant\": \"ringmix\", \"case\": \"empty-tick\", \"host_work_us\": %.3f, "
        "\"clear_ns_per_frame\": %.4f, \"convert_ns_per_frame\": %.4f}\n",
        parts.hostWorkUs, parts.clearNs, parts.convertNs);
    for (const tick_result_t& tick : MeasureTicks(isSmoke)) {
        if (!report.Check(tick.tickUs, "a tick on the null device")) continue;
        report.Text("MixVoices in real time, handshake included, %3u voices: %.1f us\n", tick.voices,
                    tick.tickUs);
        report.Json("{\"contestant\": \"ringmix\", \"case\": \"tick\", \"voices\": %u, \"tick_us\": %.2f}\n",
                    tick.voices, tick.tickUs);
    }
}

void ReportStarts(Report_t& report, const mixers_t& mixers, bool isSmoke) {
    report.Text("\nstarts, in milliseconds\n%-12s %-8s %9s %7s %8s %8s %8s %8s\n", "contestant", "device",
                "host rate", "voices", "queued", "heard", "its tick", "stall");
    std::vector<start_result_t> starts = MeasureStarts(isSmoke);
    for (const auto& mixer : mixers) {
        const double heardMs = mixer->RunStart(defaultStallMs);
        if (heardMs >= 0)
            starts.push_back({mixer->name, "", 0, 1, defaultStallMs, heardMs, -1.0, defaultStallMs});
    }
    for (const start_result_t& start : starts) {
        if (start.heardMs < 0 && start.device == "null") {
            // The cost of a start was measured while others had the processor: it does not go back in time
            // then.
            std::fprintf(stderr, "ringmix_compare: the machine is too busy for starts in real time\n");
            continue;
        }
        if (!report.Check(start.heardMs, start.contestant + " on the " + start.device + " device, a start"))
            continue;
        const std::string tick = start.tickMs < 0 ? "" : std::to_string(start.tickMs).substr(0, 6);
        report.Text("%-12s %-8s %9.0f %7u %8.1f %8.2f %8s %8.1f\n", start.contestant.c_str(),
                    start.device.c_str(), start.hostRate, start.voices, start.queuedMs, start.heardMs,
                    tick.c_str(), start.stallMs);
        report.Json(
            "{\"contestant\": \"%s\", \"case\": \"start\", \"device\": \"%s\", \"host_rate\": %.0f, "
            "\"voices\": %u, \"queued_ms\": %.2f, \"heard_ms\": %.3f, \"tick_ms\": %s, \"stall_ms\": %.2f}\n",
            start.contestant.c_str(), start.device.c_str(), start.hostRate, start.voices, start.queuedMs,
            start.heardMs, tick.empty() ? "null" : tick.c_str(), start.stallMs);
    }
}

void ReportMemory(Report_t& report) {
    report.Text("\nmemory of a playing voice\n");
    for (const memory_result_t& result : MeasureMemory()) {
        if (!report.Check(result.bytesPerVoice, result.voiceClass)) continue;
        report.Text("%-26s %9.0f bytes\n", result.voiceClass.c_str(), result.bytesPerVoice);
        report.Json(
            "{\"contestant\": \"ringmix\", \"case\": \"memory\", \"class\": \"%s\", \"bytes_per_voice\": "
            "%.0f}\n",
            result.voiceClass.c_str(), result.bytesPerVoice);
    }
}

}  // namespace

int main(int argc, char** argv) {
    bool isJson = false, isSmoke = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0) {
            isJson = true;
        } else if (std::strcmp(argv[i], "--smoke") == 0) {
            isSmoke = true;
        } else {
            std::fprintf(stderr, "usage: ringmix_compare [--json] [--smoke]\n");
            return 2;
        }
    }
    Report_t report(isJson);
    mixers_t mixers;
    AddRingmix(mixers);
    AddReader(mixers);
    AddSdlMixer(mixers);
    AddOpenAl(mixers);
    CompareMixers(report, mixers, isSmoke);
    ReportAdpcm(report, isSmoke);
    ReportTicks(report, isSmoke);
    ReportStarts(report, mixers, isSmoke);
    ReportMemory(report);
    return report.HasFailed() ? 1 : 0;
}
