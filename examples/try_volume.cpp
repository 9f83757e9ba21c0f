// Makes a volume, looks for it in the server's list and removes it again.
//
//     try_volume NAME DIRECTORY
#include <cstdio>
#include <cstring>

#include <zrp/requests/volume_list.h>
#include <zrp/requests/volume_management.h>
#include <zrp/result.h>

struct Search {
    const char* name;
    bool found;
};

static int compare(void* context, const zrp::ListedVolume& volume) {
    auto* search = static_cast<Search*>(context);
    search->found = search->found || std::strcmp(volume.name, search->name) == 0;
    return 0;
}

// Says what an operation came to: in the server's words, which begin with its code, if it gave any.
static bool report(const char* action, int rc, const char* errorText) {
    if (rc == zrp::kOk) {
        std::printf("%s\n", action);
    } else if (*errorText != '\0') {
        std::fprintf(stderr, "not %s: %s\n", action, errorText);
    } else {
        std::fprintf(stderr, "not %s: code %d\n", action, rc);
    }
    return rc == zrp::kOk;
}

static bool try_volume(const char* wanted, const char* directory) {
    zrp::ErrorText errorText = "";
    char name[zrp::kVolumeNameSize] = "";
    int rc =
        zrp::CreateVolume(wanted, directory, 0, zrp::kAnyVolumeNumber, name, &errorText, nullptr);
    if (!report("created", rc, errorText)) {
        return false;
    }
    // The server may spell the name in its own way; from here on its spelling counts.
    Search search = {name, false};
    rc = zrp::GetVolumes(compare, nullptr, &search);
    const bool listed =
        report("listed", rc == zrp::kOk && !search.found ? zrp::kNotFound : rc, errorText);
    char removed[zrp::kVolumeNameSize] = "";
    rc = zrp::RemoveVolume(name, removed, &errorText, nullptr);
    return report("removed", rc, errorText) && listed;
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: try_volume NAME DIRECTORY\n");
        return 2;
    }
    if (zrp::IPCServInit(zrp::kMainDaemonSocket) != zrp::kOk) {
        return 1;
    }
    const bool good = try_volume(argv[1], argv[2]);
    zrp::IPCServTerm();
    return good ? 0 : 1;
}
