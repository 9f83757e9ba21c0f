// Lists the volumes of the server with their size, free room and state.
//
//     list_volumes
#include <iomanip>
#include <iostream>
#include <string>

#include <zrp/client.h>

namespace client = zrp::client;

// False when the server says nothing of this volume; a volume may be removed after it was listed.
static bool print_volume(const client::Volume& volume) {
    const auto details = client::GetVolume(volume.name);
    if (!details) {
        std::cerr << "list_volumes: " << volume.name << ": " << Describe(details) << '\n';
        return false;
    }
    const std::string size = client::SizeWords(details.value.size);
    const std::string free = client::SizeWords(details.value.free);
    std::cout << std::setw(12) << size << std::setw(12) << free << "  "
              << client::Unescaped(volume.name) << " (" << client::StatusWords(details.value.status)
              << ")\n";
    return true;
}

int main(int argc, char** /*argv*/) {
    if (argc != 1) {
        std::cerr << "usage: list_volumes\n";
        return 2;
    }
    const client::Session session;
    const auto volumes = client::ListVolumes();
    if (!volumes) {
        std::cerr << "list_volumes: " << Describe(volumes) << '\n';
        return 1;
    }
    bool good = true;
    std::cout << "        SIZE        FREE  VOLUME\n";
    for (const client::Volume& volume : volumes.value) {
        good = print_volume(volume) && good;
    }
    return good ? 0 : 1;
}
