// Lists the volumes of the server with their state.
//
//     list_volumes
#include <cstdio>

#include <zrp/requests/volume_information.h>
#include <zrp/requests/volume_list.h>
#include <zrp/transport.h>

static int print(void*, const zrp::ListedVolume& volume) {
    char state[zrp::kVolumeStatusTextSize];
    zrp::formatVolumeStatus(volume.status, state);
    std::printf("%5u  %-16s  %s\n", volume.volumeNumber, volume.name, state);
    return 0;
}

int main() {
    int rc = zrp::IPCServInit(zrp::kMainDaemonSocket);
    if (rc == 0) {
        rc = zrp::GetVolumes(print, nullptr, nullptr);
    }
    zrp::IPCServTerm();
    if (rc != 0) {
        std::fprintf(stderr, "list_volumes: the server cannot be asked, code %d\n", rc);
        return 1;
    }
    return 0;
}
