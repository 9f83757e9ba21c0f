#include "common/requests/cluster_resource.h"

#include <string_view>
#include <utility>

#include "common/engine/command.h"
#include "common/result.h"
#include "common/tags.h"
#include "common/xml_writer.h"

namespace zrp {
namespace {

constexpr size_t kVolumesRoom = 8192;

constexpr std::string_view kAddressSeparators = " \t\r\n,;";

struct Setting {
    std::string_view word; // with its equals sign
    const char* tag;
    bool keepsWord; // the element holds the word too
};

// In the order of the elements.
constexpr Setting kSettings[] = {
    {"SHADOWPATH=", tag::shadow, false},
    {"PATH=", tag::mountPoint, false},
    {"SHADOWVOLUME=", tag::options, true},
};

constexpr size_t kSettingCount = sizeof kSettings / sizeof *kSettings;
using SettingValues = std::string_view[kSettingCount];

const Setting* setting_at(std::string_view text) {
    for (const Setting& setting : kSettings) {
        if (text.starts_with(setting.word)) {
            return &setting;
        }
    }
    return nullptr;
}

// Takes the value at the start of the text. False for a quote that is not closed.
bool take_value(std::string_view& text, std::string_view* value) {
    const bool quoted = text.starts_with('"');
    if (quoted) {
        text.remove_prefix(1);
    }
    const size_t end = quoted ? text.find('"') : text.find_first_of(kAddressSeparators);
    if (quoted && end == std::string_view::npos) {
        return false;
    }
    *value = text.substr(0, end);
    text.remove_prefix(value->size() + (quoted ? 1 : 0));
    return true;
}

bool read_settings(const char* settings, SettingValues& values) {
    std::string_view text(settings != nullptr ? settings : "");
    for (;;) {
        const size_t start = text.find_first_not_of(kAddressSeparators);
        if (start == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(start);
        const Setting* setting = setting_at(text);
        if (setting == nullptr) {
            return false;
        }
        text.remove_prefix(setting->word.size());
        std::string_view& value = values[setting - kSettings];
        if (value.data() != nullptr || !take_value(text, &value)) {
            return false;
        }
    }
}

void write_settings(XmlDocument& document, const SettingValues& values) {
    char text[kVolumesRoom];
    for (size_t i = 0; i < kSettingCount; i++) {
        if (values[i].empty()) {
            continue;
        }
        const std::string_view word = kSettings[i].keepsWord ? kSettings[i].word : "";
        if (word.size() + values[i].size() >= sizeof text) {
            document.failed = true;
            return;
        }
        word.copy(text, word.size());
        values[i].copy(text + word.size(), values[i].size());
        text[word.size() + values[i].size()] = '\0';
        WriteTextElement(document, kSettings[i].tag, text);
    }
}

void write_resource(XmlDocument& document, const char* name, int32_t number,
                    const SettingValues& values) {
    WriteOpenGroup(document, tag::volume);
    WriteTextElement(document, tag::volumeName, name);
    WriteIntElement(document, tag::volumeNumber, number);
    write_settings(document, values);
    WriteCloseGroup(document, tag::volume);
}

void write_volume(XmlDocument& document, const ClusterVolume& volume) {
    SettingValues values;
    if (!read_settings(volume.settings, values)) {
        document.failed = true;
        document.refused = true;
        return;
    }
    write_resource(document, volume.volumeName, volume.volumeNumber, values);
}

constexpr ReplyField kVolumeFields[] = {
    ZRP_FIELD(tag::volumeName, kText, ClusterVolumeResult, volumeName),
    ZRP_FIELD(tag::volumeNumber, kDecimal, ClusterVolumeResult, volumeNumber),
    ZRP_FIELD(tag::mountFailureCode, kDecimal, ClusterVolumeResult, mountFailureCode),
};
constexpr ReplyList kClusterVolumes =
    command_list(tag::clusterResource, tag::volume, kVolumeFields);

constexpr RequestField kBindRequest[] = {
    {tag::zrpServerName, RequestField::kText},
    {tag::networkAddress, RequestField::kText},
    {tag::bindFlag, RequestField::kSigned},
};
constexpr Command kBind = {tag::clusterResource, nullptr, kBindRequest, {}, 1024};
constexpr Command kListServers = {tag::listvirtualservers};

} // namespace

char* BuildClusterBindRequest(const char* serverName, const char* networkAddress, int bindFlag,
                              uint32_t* length) {
    return build_command(kBind, {serverName, networkAddress, bindFlag}, length);
}

int ScanClusterBindReply(char* reply, int replyLength) {
    return scan_command(kBind, reply, replyLength);
}

char* BuildClusterVolumeRequest(std::span<const ClusterVolume> volumes, uint32_t* length) {
    if (volumes.empty()) {
        return refuse_request();
    }
    XmlDocument document = StartDocument(kVolumesRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::clusterResource);
    for (const ClusterVolume& volume : volumes) {
        write_volume(document, volume);
    }
    WriteTrailer(document, tag::clusterResource, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

char* BuildOneClusterVolumeRequest(const ClusterVolumeSettings& volume, uint32_t* length) {
    const auto view = [](const char* text) {
        return std::string_view(text != nullptr ? text : "");
    };
    const SettingValues values = {view(volume.shadowPath), view(volume.path),
                                  view(volume.shadowVolume)};
    XmlDocument document = StartDocument(kVolumesRoom);
    WriteHead(document, tag::zrpConsoleRequest, tag::clusterResource);
    write_resource(document, volume.volumeName, volume.volumeNumber, values);
    WriteTrailer(document, tag::clusterResource, tag::zrpConsoleRequest);
    return FinishDocument(document, length);
}

int ScanClusterVolumeReply(char* reply, int replyLength, int* offset, ClusterVolumeResult* record) {
    return scan_record(kClusterVolumes, reply, replyLength, offset, record);
}

int BindAddress(const char* serverName, const char* networkAddress, ErrorText* errorText,
                const LogContext* log) {
    return run_command(kBind, {serverName, networkAddress, 1}, {errorText, log});
}

int UnbindAddress(const char* serverName, const char* networkAddress, ErrorText* errorText,
                  const LogContext* log) {
    return run_command(kBind, {serverName, networkAddress, 0}, {errorText, log});
}

int MountClusterVolumes(std::span<const ClusterVolume> volumes, ClusterVolumeCallback callback,
                        void* context, ErrorText* errorText, const LogContext* log) {
    const Caller caller(errorText, log);
    int rc = callback != nullptr ? kOk : kInvalid;
    for (const ClusterVolume& volume : volumes) {
        rc = rc == kOk ? check_volume_name(volume.volumeName, log) : rc;
    }
    if (rc != kOk) {
        return rc;
    }
    uint32_t length = 0;
    HeapText request(BuildClusterVolumeRequest(volumes, &length));
    return run_list(kClusterVolumes, ScanClusterVolumeReply, std::move(request), length, caller,
                    callback, context);
}

char* BuildListVirtualServersRequest(uint32_t* length) {
    return build_command(kListServers, {}, length);
}

} // namespace zrp
