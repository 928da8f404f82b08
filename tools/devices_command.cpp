// devices_command.cpp - ringmix devices: what play can play on.
#include <ringmix/output_selection.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/commands.h"
#include "tools/sound_report.h"
#include "tools/text_table.h"

namespace tools {

namespace {

constexpr char footer[] =
    "These are the names for --device. \"null\" is always there and heard by nobody; without --device it is\n"
    "\"default\", the machine's own choice. A name that the sound system understands but does not list "
    "works,\n"
    "too.\n\n"
    "  ringmix devices --json | jq -r '.[].name'\n";

struct device_t {
    std::string name, description;
};

std::vector<device_t> ListDevices() {
    std::vector<device_t> devices;
    for (unsigned i = 0, count = OutputSelection_t::GetDeviceCount(); i < count; ++i)
        devices.push_back({OutputSelection_t::GetDeviceName(i), OutputSelection_t::GetDeviceDescription(i)});
    for (unsigned i = 0; i < OutputSelection_t::GetBackendCount(); ++i) {
        const std::string name = OutputSelection_t::GetBackendName(i);
        if (name == "null") devices.push_back({name, OutputSelection_t::GetBackendDescription(i)});
    }
    return devices;
}

int RunDevices(bool asJson) {
    json_t list = json_t::array();
    std::vector<table_row_t> rows = {{"device", "description"}};
    for (const device_t& device : ListDevices()) {
        list.push_back({{"name", device.name}, {"description", device.description}});
        rows.push_back({device.name, device.description});
    }
    if (asJson) {
        PrintJson(list);
    } else {
        PrintTable(rows);
    }
    return exitSuccess;
}

}  // namespace

command_t AddDevicesCommand(CLI::App& app) {
    const auto asJson = std::make_shared<bool>(false);
    CLI::App* command = app.add_subcommand("devices", "List what sounds can be played on");
    command->add_flag("--json", *asJson, "Print one JSON array instead of a table");
    command->footer(footer);
    return [asJson] { return RunDevices(*asJson); };
}

}  // namespace tools
