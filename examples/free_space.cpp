// Says how much room each volume has left. The example of the README.
#include <iostream>

#include <zrp/client.h>

int main(int argc, char** /*argv*/) {
    if (argc != 1) {
        std::cerr << "usage: free_space\n";
        return 2;
    }
    const zrp::client::Session session;
    const auto volumes = zrp::client::ListVolumes();
    if (!volumes) {
        std::cerr << Describe(volumes) << '\n';
        return 1;
    }
    for (const zrp::client::Volume& volume : volumes.value) {
        const auto details = zrp::client::GetVolume(volume.name);
        if (!details) {
            std::cerr << volume.name << ": " << Describe(details) << '\n';
            return 1;
        }
        std::cout << volume.name << ": " << zrp::client::SizeWords(details.value.free) << " of "
                  << zrp::client::SizeWords(details.value.size) << " free\n";
    }
}
