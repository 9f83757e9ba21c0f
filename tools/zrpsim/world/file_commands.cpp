// Open files and their locks.
#include <algorithm>
#include <array>

#include "tools/zrpsim/world/volume_changes.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

constexpr int kFileConnectionsOfAPage = 50;

// The connection's files on the volume, or all its files for no volume.
std::vector<const OpenFile*> files_on(const Connection& connection, const Volume* volume) {
    std::vector<const OpenFile*> files;
    for (const OpenFile& file : connection.files) {
        if (volume == nullptr || file.volumeNumber == volume->number) {
            files.push_back(&file);
        }
    }
    return files;
}

void append_files(const Connection& connection, const std::vector<const OpenFile*>& files,
                  std::string& out) {
    open_element(out, "connectionTag");
    number_element(out, "stationNumberTag", connection.station);
    text_element(out, "userName", connection.name);
    open_element(out, "openFiles");
    number_element(out, "openFilesCount", files.size());
    for (const OpenFile* file : files) {
        text_element(out, "name", file->name);
    }
    close_element(out, "openFiles");
    close_element(out, "connectionTag");
}

void append_iteration(std::string& out, int count, const Connection* next) {
    open_element(out, "iterationInfo");
    text_element(out, "moreFlag", next != nullptr ? "Yes" : "No");
    number_element(out, "stationNumberCount", count);
    if (next != nullptr) {
        number_element(out, "startIndex", next->station);
    }
    close_element(out, "iterationInfo");
}

// Lists only connections that have files open on the volume.
Outcome list_open_files(World& world, pugi::xml_node command, std::string& out) {
    Page page{};
    Volume* volume = nullptr;
    Outcome outcome = read_page(command, kFileConnectionsOfAPage, page);
    if (outcome.code == 0 && command.child("volumeName")) {
        outcome = named_volume(world, command, "volumeName", volume);
    }
    if (outcome.code != 0) {
        return outcome;
    }
    std::string entries;
    const Connection* next = nullptr;
    int count = 0;
    for (auto at = connections_from(world, page.startIndex); at != world.connections->end(); at++) {
        const std::vector<const OpenFile*> files = files_on(*at, volume);
        if (files.empty()) {
            continue;
        }
        if (count == page.maxItems) {
            next = &*at;
            break;
        }
        append_files(*at, files, entries);
        count++;
    }
    append_iteration(out, count, next);
    out += entries;
    return {};
}

void append_lock(const Connection& connection, const OpenFile& file, std::string& out) {
    open_element(out, "connectionTag");
    number_element(out, "stationNumberTag", connection.station);
    number_element(out, "taskNuber", file.task); // spelled so in the protocol
    hex_element(out, "accessRights", file.rights);
    hex_element(out, "zrpFileHandle", file.handle);
    text_element(out, "userName", connection.name);
    close_element(out, "connectionTag");
}

// A file that is not open has no locks; only its volume must exist.
Outcome list_locks(World& world, pugi::xml_node command, std::string& out) {
    const std::string name = text_inside(command, "fileName");
    if (find_volume(world, name.substr(0, name.find(':'))) == nullptr) {
        return {kNoSuchObject, "no such file: " + name};
    }
    std::string entries;
    int count = 0;
    for (const Connection& connection : *world.connections) {
        for (const OpenFile& file : connection.files) {
            if (!file.locked || file.name != name) {
                continue;
            }
            append_lock(connection, file, entries);
            count++;
        }
    }
    number_element(out, "actualLockCount", count);
    out += entries;
    return {};
}

Outcome close_file(World& world, pugi::xml_node command, std::string& out) {
    const std::string name = text_inside(command, "fileName");
    size_t closed = 0;
    for (Connection& connection : world.connections.change()) {
        closed += std::erase_if(connection.files,
                                [&](const OpenFile& file) { return file.name == name; });
    }
    if (closed == 0) {
        return {kNoSuchObject, "file is not open: " + name};
    }
    open_element(out, "fileClose");
    text_element(out, "fileName", name);
    close_element(out, "fileClose");
    return {};
}

Outcome close_locks(World& world, pugi::xml_node command, std::string& out) {
    const std::optional<int> station = number_inside(command, "stationNumberTag");
    const Connection* connection = station ? find_connection(world, *station) : nullptr;
    if (connection == nullptr) {
        return {kNoSuchObject, "no such connection: " + text_inside(command, "stationNumberTag")};
    }
    const auto index = static_cast<size_t>(connection - world.connections->data());
    for (OpenFile& file : world.connections.change()[index].files) {
        file.locked = false;
    }
    open_element(out, "closeConnectionLocksTag");
    number_element(out, "stationNumberTag", *station);
    close_element(out, "closeConnectionLocksTag");
    return {};
}

// One command with two requests.
Outcome close_something(World& world, pugi::xml_node command, std::string& out) {
    const bool file = static_cast<bool>(find_inside(command, "fileClose"));
    const bool locks = static_cast<bool>(find_inside(command, "closeConnectionLocksTag"));
    if (file == locks) {
        return {kBadRequest, "not exactly one request inside zrpRequests"};
    }
    return file ? close_file(world, command, out) : close_locks(world, command, out);
}

constexpr std::array kFileCommands = std::to_array<CommandRow>({
    {"listOpenFilesByConnection", "volumeName startIndex maxItems", list_open_files},
    {"listFileLocksByFile", "fileName", list_locks},
    {"zrpRequests", "fileClose fileName closeConnectionLocksTag stationNumberTag", close_something},
});

} // namespace

std::span<const CommandRow> file_commands() {
    return kFileCommands;
}

} // namespace zrp::sim
