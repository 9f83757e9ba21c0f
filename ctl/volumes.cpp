// Volumes: their list, and all that the server says of one.
#include <algorithm>
#include <strings.h>

#include "common/client/session.h"
#include "common/requests/volume_information.h"
#include "common/requests/volume_list.h"
#include "common/tags.h"
#include "ctl/command.h"
#include "ctl/fields.h"
#include "ctl/numbers.h"
#include "ctl/pages.h"
#include "ctl/printing.h"
#include "ctl/volume_list.h"

namespace zrp::ctl {
namespace {

constexpr Field kListedVolume[] = {
    {tag::volumeNumber, Field::kNumber, true, "number"},
    {tag::name, Field::kText},
    {tag::status, Field::kStatus},
};
enum Place : size_t { kNumberPlace, kNamePlace, kStatusPlace };

VolumeEntry entry_of(const Item& item) {
    return {*item[kNamePlace], read_number(*item[kNumberPlace]).value_or(0),
            static_cast<uint32_t>(read_mask(*item[kStatusPlace]).value_or(0))};
}

std::vector<Item> list_volume_items(const Session& session) {
    std::vector<Item> volumes;
    walk_pages(
        kServer, tag::listVolumes,
        [&](int32_t index) {
            return session.ask(kServer, request([&](uint32_t* length) {
                                   return BuildListVolumesRequest(index, length);
                               }));
        },
        [&](Node list, int64_t index) {
            for (const Node volume : list.children(tag::volume)) {
                volumes.push_back(read_item(kListedVolume, volume, kServer));
            }
            return next_page(list, index, kServer);
        });
    return volumes;
}

Outcome show_volumes(Session& session, const Arguments& arguments) {
    const bool mountedOnly = arguments.has("--mounted");
    const std::vector<Item> volumes = list_volume_items(session);
    Outcome outcome(session.options().json);
    start_items(outcome, "volumes", kListedVolume);
    for (const Item& volume : volumes) {
        if (!mountedOnly || is_mounted(entry_of(volume))) {
            add_item(outcome, kListedVolume, volume);
        }
    }
    return outcome;
}

// In which layouts of the reply an element is, bit n for version n.
constexpr unsigned kEveryLayout = 0x7E;
constexpr unsigned kFull = kEveryLayout & ~0x08U; // all but version 3
constexpr unsigned kExtended = 0x70;              // 4 and later
constexpr unsigned kWide = 0x60;                  // 5 and later
constexpr unsigned kEnforced = 0x68;              // 3, 5 and 6
constexpr unsigned kLast = 0x40;
constexpr unsigned kNever = 0; // needed in none

struct DetailRow {
    Field field;
    unsigned needed;
};

constexpr DetailRow kVolumeDetails[] = {
    {{tag::versionTag, Field::kNumber}, kEveryLayout},
    {{tag::volumeNumber, Field::kNumber, true, "number"}, kEveryLayout},
    {{tag::name, Field::kText}, kEveryLayout},
    {{tag::status, Field::kStatus}, kEveryLayout},
    {{tag::volumeType, Field::kNumber}, kFull},
    {{tag::statusFlags, Field::kMask}, kFull},
    {{tag::mountPoint, Field::kText}, kEveryLayout},
    {{tag::mountPointType, Field::kNumber}, kFull},
    {{tag::shadow, Field::kText}, kNever},
    {{tag::shadowFlags, Field::kMask}, kLast},
    {{tag::poolName, Field::kText}, kNever},
    {{tag::volumeGUID, Field::kText}, kNever},
    {{tag::enabledAttributes, Field::kMask}, kNever},
    {{tag::sectorSize, Field::kNumber}, kFull},
    {{tag::sectorPerCluster, Field::kNumber}, kFull},
    {{tag::clustersPerVolume, Field::kNumber}, kFull},
    {{tag::freeClusters, Field::kNumber}, kFull},
    {{tag::purgeableBlocks, Field::kNumber}, kWide},
    {{tag::notYetPurgeableBlocks, Field::kNumber}, kWide},
    {{tag::directoryEntries, Field::kNumber}, kFull},
    {{tag::unusedDirectoryEntries, Field::kNumber}, kFull},
    {{tag::lastModifiedDateAndTime, Field::kTime}, kFull},
    {{tag::dcGetEntryCount, Field::kNumber}, kFull},
    {{tag::dcLockEntryCount, Field::kNumber}, kFull},
    {{tag::dcCacheFiles, Field::kNumber}, kFull},
    {{tag::dcCachedSubdirs, Field::kNumber}, kFull},
    {{tag::dcEvictedFiles, Field::kNumber}, kFull},
    {{tag::dcEvictedSubdirs, Field::kNumber}, kExtended},
    {{tag::dcTrusteeCount, Field::kNumber}, kFull},
    {{tag::dcNormalOpenCount, Field::kNumber}, kExtended},
    {{tag::dcLazyOpenCount, Field::kNumber}, kExtended},
    {{tag::dcLazyCloseCount, Field::kNumber}, kExtended},
    {{tag::dcBackgroundCloseCount, Field::kNumber}, kExtended},
    {{tag::dcSecurityNodeCount, Field::kNumber}, kExtended},
    {{tag::dcOverflowEntriesFound, Field::kNumber}, kExtended},
    {{tag::enforcedFlag, Field::kNumber}, kEnforced},
    {{tag::connectionCount, Field::kNumber}, kWide},
};

// What a layout needs; elements of other layouts are shown if they come.
std::vector<Field> fields_of(uint64_t version) {
    std::vector<Field> fields;
    for (const DetailRow& row : kVolumeDetails) {
        fields.push_back(row.field);
        fields.back().isNeeded = (row.needed & 1U << version) != 0;
    }
    return fields;
}

// The product of the elements; nothing if one did not come, or beyond 64 bits.
std::optional<uint64_t> product(Node volume, std::initializer_list<const char*> tags) {
    uint64_t bytes = 1;
    for (const char* tag : tags) {
        const auto factor = read_unsigned(text_inside(volume, tag).value_or(""));
        if (!factor || __builtin_mul_overflow(bytes, *factor, &bytes)) {
            return std::nullopt;
        }
    }
    return bytes;
}

struct SizeRow {
    const char* key;
    const char* clusters;
};

constexpr SizeRow kSizes[] = {
    {"totalBytes", tag::clustersPerVolume},
    {"freeBytes", tag::freeClusters},
    {"purgeableBytes", tag::purgeableBlocks},
    {"notYetPurgeableBytes", tag::notYetPurgeableBlocks},
};

void add_sizes(Node volume, Json& object, Outcome& outcome) {
    for (const SizeRow& row : kSizes) {
        const auto bytes = product(volume, {tag::sectorSize, tag::sectorPerCluster, row.clusters});
        if (bytes) {
            object[row.key] = *bytes;
            outcome.add_row({row.key, std::to_string(*bytes) + " (" + size_words(*bytes) + ")"});
        }
    }
}

// What the reply holds beyond the tables is shown as it came.
void add_others(Node volume, std::span<const Field> fields, Json& object, Outcome& outcome) {
    for (const Node node : volume.children()) {
        const bool isKnown = std::any_of(fields.begin(), fields.end(), [&](const Field& field) {
            return std::string_view(field.tag) == node.name();
        });
        if (node.type() == pugi::node_element && !isKnown && !object.contains(node.name())) {
            object[node.name()] = text_of(node);
            outcome.add_row({node.name(), text_of(node)});
        }
    }
}

Outcome show_volume(Session& session, const Arguments& arguments) {
    const std::string name = client::Escaped(arguments.text("NAME"));
    const Answer answer = session.ask(kServer, request([&](uint32_t* length) {
                                          return BuildVolumeInformationRequest(
                                              name.c_str(), length, kMaxVolumeInformationVersion);
                                      }));
    const Node volume = command_of(answer, kServer, tag::volumeInformation).child(tag::volume);
    const auto version = read_unsigned(text_inside(volume, tag::versionTag).value_or(""));
    if (!version || *version < 1 || *version > kMaxVolumeInformationVersion) {
        fail_reply("the layout of the volume is not known", kServer);
    }
    const std::vector<Field> fields = fields_of(*version);
    const Item item = read_item(fields, volume, kServer);
    Outcome outcome(session.options().json);
    Json object = item_json(fields, item);
    start_properties(outcome);
    add_properties(outcome, fields, item);
    add_sizes(volume, object, outcome);
    add_others(volume, fields, object, outcome);
    outcome.set("volume", object);
    return outcome;
}

constexpr const char* kVolumeGroup = "Volumes";

constexpr Argument kVolumesArguments[] = {
    {"--mounted", ArgumentKind::kFlag, Count::kOptional, "only those that are mounted"},
};
constexpr Argument kVolumeArguments[] = {
    {"NAME", ArgumentKind::kAskedVolume, Count::kOne, "the volume"},
};

constexpr Command kVolumeCommands[] = {
    {"volumes", kVolumeGroup, "List the volumes", Effect::kReadOnly, kVolumesArguments,
     "zrpctl volumes --mounted", show_volumes},
    {"volume", kVolumeGroup, "Show all that the server says of a volume", Effect::kReadOnly,
     kVolumeArguments, "zrpctl volume SYS", show_volume},
};

} // namespace

std::vector<VolumeEntry> list_volumes(const Session& session) {
    std::vector<VolumeEntry> volumes;
    for (const Item& item : list_volume_items(session)) {
        volumes.push_back(entry_of(item));
    }
    return volumes;
}

const VolumeEntry* find_volume(const std::vector<VolumeEntry>& volumes, std::string_view name) {
    const std::string wanted(name);
    const auto at = std::find_if(volumes.begin(), volumes.end(), [&](const VolumeEntry& volume) {
        return strcasecmp(volume.name.c_str(), wanted.c_str()) == 0;
    });
    return at == volumes.end() ? nullptr : &*at;
}

bool is_mounted(const VolumeEntry& volume) {
    return (volume.status & kVolumeMounted) != 0;
}

bool is_volume_mounted(const Session& session, std::string_view name) {
    const std::vector<VolumeEntry> volumes = list_volumes(session);
    const VolumeEntry* volume = find_volume(volumes, name);
    return volume != nullptr && is_mounted(*volume);
}

std::span<const Command> volume_commands() {
    return kVolumeCommands;
}

} // namespace zrp::ctl
