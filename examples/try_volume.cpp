// Makes a volume, looks for it in the server's list and removes it again.
//
//     try_volume NAME DIRECTORY
#include <iostream>
#include <string>

#include <zrp/client.h>

namespace client = zrp::client;

// Says what a step came to.
template <typename T>
static bool report(const char* step, const client::Answer<T>& answer) {
    if (answer) {
        std::cout << step << '\n';
    } else {
        std::cerr << "not " << step << ": " << Describe(answer) << '\n';
    }
    return static_cast<bool>(answer);
}

static bool find_volume(const std::string& name) {
    bool found = false;
    const auto end = client::ForEachVolume([&](const client::Volume& volume) {
        found = volume.name == name;
        return !found;
    });
    if (end && !found) {
        std::cerr << "not listed\n";
        return false;
    }
    return report("listed", end);
}

static bool try_volume(const char* name, const char* directory) {
    const auto created = client::CreateVolume(name, directory);
    if (!report("created", created)) {
        return false;
    }
    // The server may spell the name in its own way; from here on its spelling counts.
    const bool listed = find_volume(created.value);
    return report("removed", client::RemoveVolume(created.value)) && listed;
}

int main(int argc, char** argv) {
    if (argc != 3 || *argv[1] == '\0' || *argv[2] == '\0') {
        std::cerr << "usage: try_volume NAME DIRECTORY\n";
        return 2;
    }
    const client::Session session;
    return try_volume(argv[1], argv[2]) ? 0 : 1;
}
