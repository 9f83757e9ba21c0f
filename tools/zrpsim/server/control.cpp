#include "tools/zrpsim/server/control.h"

#include <array>
#include <cstdio>
#include <istream>
#include <sstream>
#include <unistd.h>

#include "tools/zrpsim/world/population.h"
#include "tools/zrpsim/world/whole_number.h"

namespace zrp::sim {
namespace {

struct Input {
    asio::posix::stream_descriptor descriptor;
    std::string text;
};

std::string set_faults(Server& server, std::istringstream& words) {
    std::vector<Fault> faults;
    for (std::string word; words >> word;) {
        if (word == "none") {
            continue;
        }
        std::string problem = read_fault(word, faults);
        if (!problem.empty()) {
            return problem;
        }
    }
    server.faults = std::move(faults);
    update_listeners(server);
    return {};
}

std::string set_clock(Server& server, std::istringstream& words) {
    std::string word;
    words >> word;
    SimulatedClock& clock = server.clock;
    const auto seconds = whole_number<int32_t>(word);
    if (word == "run") {
        clock.startMs = up_time_ms(clock);
        clock.start = std::chrono::steady_clock::now();
        clock.pinnedMs.reset();
    } else if (seconds && *seconds >= 0) {
        clock.pinnedMs = int64_t{*seconds} * 1000;
    } else {
        return "clock takes a number of seconds or \"run\"";
    }
    return {};
}

std::string fill_volume(Server& server, std::istringstream& words) {
    std::string name;
    std::string word;
    words >> name >> word;
    Volume* volume = find_volume(server.world, name);
    const auto percent = whole_number<int>(word);
    if (volume == nullptr) {
        return "no volume \"" + name + "\"";
    }
    if (!percent || *percent < 0 || *percent > 100) {
        return "fill takes a volume and how many percent of it are used";
    }
    volume->percentUsed = *percent;
    return {};
}

std::string set_login(Server& server, std::istringstream& words) {
    std::string word;
    words >> word;
    if (word != "on" && word != "off") {
        return "login takes \"on\" or \"off\"";
    }
    server.world.loginEnabled = word == "on";
    return {};
}

std::string add_clients(Server& server, std::istringstream& words) {
    std::string word;
    std::string user;
    words >> word >> user;
    World& world = server.world;
    const auto count = whole_number<int>(word);
    if (!count || *count < 0) {
        return "connect takes a number of clients, and a user if they are logged in";
    }
    if (world.connections->size() + static_cast<size_t>(*count) > kConnectionSlots) {
        return "there are " + std::to_string(kConnectionSlots) + " connection slots";
    }
    connect_clients(world, *count, user);
    return {};
}

std::string restore_world(Server& server, std::istringstream&) {
    server.world = server.firstWorld;
    return {};
}

std::string quit(Server& server, std::istringstream&) {
    server.io.stop();
    return {};
}

struct ControlRow {
    const char* name;
    std::string (*carryOut)(Server& server, std::istringstream& words);
};

constexpr std::array kControls = std::to_array<ControlRow>({
    {"fault", set_faults},
    {"clock", set_clock},
    {"fill", fill_volume},
    {"login", set_login},
    {"connect", add_clients},
    {"restore", restore_world},
    {"quit", quit},
});

void read_line(Server& server, const std::shared_ptr<Input>& input) {
    asio::async_read_until(
        input->descriptor, asio::dynamic_buffer(input->text), '\n',
        [&server, input](std::error_code error, size_t length) {
            if (error) {
                return;
            }
            const std::string problem = control_line(server, input->text.substr(0, length - 1));
            std::printf("%s%s\n", problem.empty() ? "ok" : "error: ", problem.c_str());
            std::fflush(stdout);
            input->text.erase(0, length);
            read_line(server, input);
        });
}

} // namespace

std::string control_line(Server& server, const std::string& line) {
    std::istringstream words(line);
    std::string name;
    words >> name;
    try {
        for (const ControlRow& row : kControls) {
            if (name == row.name) {
                return row.carryOut(server, words);
            }
        }
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return "unknown command \"" + name + "\"";
}

void start_control(Server& server) {
    auto input = std::make_shared<Input>(
        Input{asio::posix::stream_descriptor(server.io, ::dup(STDIN_FILENO)), {}});
    read_line(server, input);
}

} // namespace zrp::sim
