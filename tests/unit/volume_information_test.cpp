#include "common/requests/volume_information.h"

#include <cstring>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/result.h"
#include "tests/support/exact_block.h"

namespace zrp::volume_information_test {
namespace {

// Elements of a complete reply, in no order that a record has. No value repeats.
constexpr const char* kNumbers[] = {
    "volumeNumber",
    "volumeType",
    "status",
    "statusFlags",
    "sectorSize",
    "sectorPerCluster",
    "clustersPerVolume",
    "freeClusters",
    "purgeableBlocks",
    "notYetPurgeableBlocks",
    "directoryEntries",
    "unusedDirectoryEntries",
    "lastModifiedDateAndTime",
    "dcGetEntryCount",
    "dcLockEntryCount",
    "dcCacheFiles",
    "dcCachedSubdirs",
    "dcEvictedFiles",
    "dcEvictedSubdirs",
    "dcTrusteeCount",
    "dcNormalOpenCount",
    "dcLazyOpenCount",
    "dcLazyCloseCount",
    "dcBackgroundCloseCount",
    "dcSecurityNodeCount",
    "dcOverflowEntriesFound",
    "enforcedFlag",
    "connectionCount",
    "mountPointType",
    "enabledAttributes",
    "shadowFlags",
};

constexpr int kFirstNumber = 101;

std::string element(const std::string& tag, const std::string& content) {
    return "<" + tag + ">" + content + "</" + tag + ">";
}

std::string numbers() {
    std::string all;
    int value = kFirstNumber;
    for (const char* tag : kNumbers) {
        all += element(tag, std::to_string(value++));
    }
    return all;
}

const std::string kTexts = element("name", "SYS") + element("poolName", "POOL0") +
                           element("volumeGUID", "0f-1e") + element("mountPoint", "/mnt/sys") +
                           element("shadow", "/mnt/shadow");

std::string volume(int version, const std::string& content) {
    return element("volume", element("versionTag", std::to_string(version)) + content);
}

std::string document(const std::string& content) {
    return element("zrpConsoleReply", element("volumeInformation", content));
}

std::string complete(int version) {
    return document(volume(version, kTexts + numbers()));
}

// The same without one element.
std::string without(int version, const std::string& tag) {
    std::string text = complete(version);
    const size_t start = text.find("<" + tag + ">");
    const std::string closing = "</" + tag + ">";
    const size_t end = text.find(closing) + closing.size();
    return text.erase(start, end - start);
}

// The same with the content of one element changed.
std::string with(int version, const std::string& tag, const std::string& content) {
    std::string text = without(version, tag);
    const size_t place = text.find("</versionTag>") + strlen("</versionTag>");
    return text.insert(place, element(tag, content));
}

struct Scan {
    explicit Scan(const std::string& text)
        : reply(text), rc(ScanVolumeInformationReply(reply.begin(), reply.length(), &offset,
                                                     &version, &record)) {}

    template <typename Record>
    const Record& as() const {
        return *static_cast<const Record*>(record.get());
    }

    ExactBlock reply;
    int offset = 0;
    int version = 4711;
    VolumeRecord record;
    int rc;
};

std::string request(const char* name, int version) {
    uint32_t length = 0;
    const HeapText built(BuildVolumeInformationRequest(name, &length, version));
    if (built == nullptr) {
        return "null";
    }
    EXPECT_EQ(strlen(built.get()), length);
    return built.get();
}

TEST(BuildVolumeInformationRequest, NamesTheVolumeAndTheVersion) {
    EXPECT_EQ(request("SYS", 5),
              "<zrpConsoleRequest pid=\"" + std::to_string(getpid()) +
                  "\"><volumeInformation>\n<volume><name>SYS</name><versionTag>5</versionTag>"
                  "</volume>\n</volumeInformation></zrpConsoleRequest>");
}

TEST(BuildVolumeInformationRequest, ANameOf16CharactersFitsAndOneOf17DoesNot) {
    EXPECT_NE(request("ABCDEFGHIJKLMNOP", 5).find("<name>ABCDEFGHIJKLMNOP</name>"),
              std::string::npos);
    EXPECT_EQ(request("ABCDEFGHIJKLMNOPQ", 5), "null");
}

TEST(BuildVolumeInformationRequest, AReferenceInTheNameCountsAsOneCharacter) {
    EXPECT_NE(request("AT&amp;T_VOLUME_01", 5).find("<name>AT&amp;T_VOLUME_01</name>"),
              std::string::npos);
    EXPECT_EQ(request("&amp;BCDEFGHIJKLMNOPQ", 5), "null");
}

template <typename Record>
void expect_texts(const Record& record) {
    EXPECT_STREQ(record.name, "SYS");
    EXPECT_STREQ(record.mountPointText, "/mnt/sys");
    EXPECT_STREQ(record.shadowText, "/mnt/shadow");
    EXPECT_EQ(record.mountPoint, record.mountPointText);
    EXPECT_EQ(record.shadowMountPoint, record.shadowText);
}

// What the complete reply holds for a tag.
uint64_t number_of(const char* tag) {
    uint64_t value = kFirstNumber;
    for (const char* one : kNumbers) {
        if (strcmp(one, tag) == 0) {
            return value;
        }
        value++;
    }
    ADD_FAILURE() << tag;
    return 0;
}

#define EXPECT_NUMBER(record, member)                                                              \
    EXPECT_EQ(static_cast<uint64_t>((record).member), number_of(#member)) << #member

template <typename Record>
void expect_common_numbers(const Record& record) {
    EXPECT_NUMBER(record, volumeNumber);
    EXPECT_NUMBER(record, volumeType);
    EXPECT_NUMBER(record, status);
    EXPECT_NUMBER(record, statusFlags);
    EXPECT_NUMBER(record, sectorSize);
    EXPECT_NUMBER(record, sectorPerCluster);
    EXPECT_NUMBER(record, clustersPerVolume);
    EXPECT_NUMBER(record, freeClusters);
    EXPECT_NUMBER(record, directoryEntries);
    EXPECT_NUMBER(record, unusedDirectoryEntries);
    EXPECT_NUMBER(record, lastModifiedDateAndTime);
    EXPECT_NUMBER(record, dcGetEntryCount);
    EXPECT_NUMBER(record, dcLockEntryCount);
    EXPECT_NUMBER(record, dcCacheFiles);
    EXPECT_NUMBER(record, dcCachedSubdirs);
    EXPECT_NUMBER(record, dcEvictedFiles);
    EXPECT_NUMBER(record, dcTrusteeCount);
    EXPECT_NUMBER(record, mountPointType);
    EXPECT_NUMBER(record, enabledAttributes);
    EXPECT_STREQ(record.poolName, "POOL0");
    EXPECT_STREQ(record.volumeGUID, "0f-1e");
}

template <typename Record>
void expect_later_counters(const Record& record) {
    EXPECT_NUMBER(record, dcEvictedSubdirs);
    EXPECT_NUMBER(record, dcNormalOpenCount);
    EXPECT_NUMBER(record, dcLazyOpenCount);
    EXPECT_NUMBER(record, dcLazyCloseCount);
    EXPECT_NUMBER(record, dcBackgroundCloseCount);
    EXPECT_NUMBER(record, dcSecurityNodeCount);
    EXPECT_NUMBER(record, dcOverflowEntriesFound);
}

void expect_version5(const VolumeInformation& record) {
    expect_texts(record);
    expect_common_numbers(record);
    expect_later_counters(record);
    EXPECT_NUMBER(record, purgeableBlocks);
    EXPECT_NUMBER(record, notYetPurgeableBlocks);
    EXPECT_NUMBER(record, enforcedFlag);
    EXPECT_NUMBER(record, connectionCount);
}

TEST(ScanVolumeInformationReply, FillsTheRecordOfVersion5) {
    const Scan scan(complete(5));
    ASSERT_EQ(scan.rc, kOk);
    EXPECT_EQ(scan.version, 5);
    expect_version5(scan.as<VolumeInformation>());
}

TEST(ScanVolumeInformationReply, FillsTheRecordOfVersions1And2) {
    for (const int version : {1, 2}) {
        const Scan scan(complete(version));
        ASSERT_EQ(scan.rc, kOk);
        EXPECT_EQ(scan.version, version);
        expect_texts(scan.as<VolumeInformationV1>());
        expect_common_numbers(scan.as<VolumeInformationV1>());
    }
}

TEST(ScanVolumeInformationReply, FillsTheRecordOfVersion3) {
    const Scan scan(complete(3));
    ASSERT_EQ(scan.rc, kOk);
    const auto& record = scan.as<VolumeInformationV3>();
    expect_texts(record);
    EXPECT_NUMBER(record, volumeNumber);
    EXPECT_NUMBER(record, status);
    EXPECT_NUMBER(record, enforcedFlag);
}

TEST(ScanVolumeInformationReply, FillsTheRecordOfVersion4) {
    const Scan scan(complete(4));
    ASSERT_EQ(scan.rc, kOk);
    expect_texts(scan.as<VolumeInformationV4>());
    expect_common_numbers(scan.as<VolumeInformationV4>());
    expect_later_counters(scan.as<VolumeInformationV4>());
}

TEST(ScanVolumeInformationReply, FillsTheRecordOfVersion6) {
    const Scan scan(complete(6));
    ASSERT_EQ(scan.rc, kOk);
    const auto& record = scan.as<VolumeInformationV6>();
    expect_version5(record.common);
    EXPECT_NUMBER(record, shadowFlags);
    EXPECT_NUMBER(record, enforcedFlag);
    EXPECT_NUMBER(record, connectionCount);
}

// One missing element of a version that needs it.
TEST(ScanVolumeInformationReply, AMissingElementHandsOverNoRecord) {
    for (const char* tag : kNumbers) {
        const Scan scan(without(6, tag));
        EXPECT_EQ(scan.rc, kInvalid) << tag;
        EXPECT_EQ(scan.record, nullptr) << tag;
        EXPECT_EQ(scan.offset, 0) << tag;
    }
    for (const char* tag : {"name", "poolName", "volumeGUID", "mountPoint"}) {
        const Scan scan(without(5, tag));
        EXPECT_EQ(scan.rc, kInvalid) << tag;
        EXPECT_EQ(scan.record, nullptr) << tag;
    }
}

TEST(ScanVolumeInformationReply, WithoutAMountPointHandsOverNoRecord) {
    const Scan scan(without(5, "mountPoint"));
    EXPECT_EQ(scan.rc, kInvalid);
    EXPECT_EQ(scan.record, nullptr);
    EXPECT_EQ(scan.version, 5);
}

TEST(ScanVolumeInformationReply, Versions1And2HandOverWhatWasReadBeforeAMissingElement) {
    for (const int version : {1, 2}) {
        const Scan scan(without(version, "mountPoint"));
        EXPECT_EQ(scan.rc, kInvalid);
        ASSERT_NE(scan.record, nullptr);
        expect_common_numbers(scan.as<VolumeInformationV1>());
        EXPECT_EQ(scan.as<VolumeInformationV1>().mountPoint, nullptr);
    }
}

TEST(ScanVolumeInformationReply, ReadsThePoolOnlyBehindAMountPointType) {
    std::string text = with(5, "mountPointType", "0");
    const Scan ignored(text);
    ASSERT_EQ(ignored.rc, kOk);
    EXPECT_STREQ(ignored.as<VolumeInformation>().poolName, "");
    EXPECT_EQ(ignored.as<VolumeInformation>().enabledAttributes, 0U);
    const size_t pool = text.find("<poolName>");
    text.erase(pool, text.find("</poolName>") + strlen("</poolName>") - pool);
    EXPECT_EQ(Scan(text).rc, kOk);
}

TEST(ScanVolumeInformationReply, WithoutAShadowItsPointerIsNull) {
    for (const int version : {1, 3, 4, 5, 6}) {
        const Scan scan(without(version, "shadow"));
        ASSERT_EQ(scan.rc, kOk) << version;
    }
    const Scan scan(without(5, "shadow"));
    EXPECT_EQ(scan.as<VolumeInformation>().shadowMountPoint, nullptr);
    EXPECT_STREQ(scan.as<VolumeInformation>().shadowText, "");
}

struct Number {
    const char* text;
    uint64_t wide;    // with automatic base
    uint32_t decimal; // in decimal
};

TEST(ScanVolumeInformationReply, TheBaseOfANumberFollowsFromItsElementAndVersion) {
    const Number cases[] = {{"0x10", 16, 0}, {"010", 8, 10}, {"77", 77, 77}, {"x", 0, 0}};
    for (const Number& c : cases) {
        EXPECT_EQ(Scan(with(5, "dcCacheFiles", c.text)).as<VolumeInformation>().dcCacheFiles,
                  c.wide);
        EXPECT_EQ(Scan(with(4, "dcCacheFiles", c.text)).as<VolumeInformationV4>().dcCacheFiles,
                  c.decimal);
        EXPECT_EQ(Scan(with(1, "sectorSize", c.text)).as<VolumeInformationV1>().sectorSize, c.wide);
        EXPECT_EQ(
            static_cast<uint32_t>(
                Scan(with(5, "connectionCount", c.text)).as<VolumeInformation>().connectionCount),
            c.decimal);
    }
    EXPECT_EQ(
        Scan(with(5, "freeClusters", "0xFFFFFFFFFFFFFFFF")).as<VolumeInformation>().freeClusters,
        UINT64_MAX);
}

TEST(ScanVolumeInformationReply, AVersionAbove6IsOutOfRange) {
    const Scan scan(complete(7));
    EXPECT_EQ(scan.rc, kRange);
    EXPECT_EQ(scan.version, 7);
    EXPECT_EQ(scan.record, nullptr);
}

TEST(ScanVolumeInformationReply, AVersionOf0OrBelowHandsOverNoRecord) {
    for (const int version : {0, -1}) {
        const Scan scan(complete(version));
        EXPECT_EQ(scan.rc, kInvalid);
        EXPECT_EQ(scan.version, version);
        EXPECT_EQ(scan.record, nullptr);
    }
}

TEST(ScanVolumeInformationReply, WithoutAVersionEverythingStaysUntouched) {
    const Scan scan(without(5, "versionTag"));
    EXPECT_EQ(scan.rc, kInvalid);
    EXPECT_EQ(scan.version, 4711);
    EXPECT_EQ(scan.offset, 0);
    EXPECT_EQ(scan.record, nullptr);
}

TEST(ScanVolumeInformationReply, ANameOfMoreThan31CharactersIsRefused) {
    EXPECT_EQ(Scan(with(5, "name", std::string(31, 'x'))).rc, kOk);
    for (const int version : {1, 2, 3, 4, 5, 6}) {
        const Scan scan(with(version, "name", std::string(32, 'x')));
        EXPECT_EQ(scan.rc, kInvalid) << version;
        EXPECT_EQ(scan.record, nullptr) << version;
    }
}

// A section's markers are taken out where it is found, so that its text cannot be found again.
TEST(ScanVolumeInformationReply, ReadsTextsWithMarkupInACdataSection) {
    const std::string section = "<![CDATA[A<B]]>";
    for (const int version : {1, 2, 3, 4, 5, 6}) {
        EXPECT_EQ(Scan(with(version, "name", section)).rc, kOk) << version;
        EXPECT_EQ(Scan(with(version, "name", "<![CDATA[" + std::string(31, '<') + "]]>")).rc, kOk);
        EXPECT_EQ(Scan(with(version, "name", "<![CDATA[" + std::string(32, '<') + "]]>")).rc,
                  kInvalid);
    }
    const Scan named(with(5, "name", section));
    ASSERT_EQ(named.rc, kOk);
    EXPECT_STREQ(named.as<VolumeInformation>().name, "A<B");
    const Scan mounted(with(5, "mountPoint", section));
    ASSERT_EQ(mounted.rc, kOk);
    EXPECT_STREQ(mounted.as<VolumeInformation>().mountPoint, "A<B");
    const Scan shadowed(with(5, "shadow", section));
    ASSERT_EQ(shadowed.rc, kOk);
    EXPECT_STREQ(shadowed.as<VolumeInformation>().shadowMountPoint, "A<B");
}

TEST(ScanVolumeInformationReply, LongTextsAreCutBetweenCharacters) {
    std::string path(4102, 'x');
    path += "\xc3\xbc and more";
    const Scan scan(with(5, "mountPoint", path));
    ASSERT_EQ(scan.rc, kOk);
    EXPECT_EQ(scan.as<VolumeInformation>().mountPoint, std::string(4102, 'x'));
}

TEST(ScanVolumeInformationReply, GoesOnBehindTheVolumeBefore) {
    const std::string text =
        document(volume(5, kTexts + numbers()) + volume(3, kTexts + numbers()));
    Scan scan(text);
    ASSERT_EQ(scan.rc, kOk);
    EXPECT_EQ(ScanVolumeInformationReply(scan.reply.begin(), scan.reply.length(), &scan.offset,
                                         &scan.version, &scan.record),
              kOk);
    EXPECT_EQ(scan.version, 3);
    EXPECT_EQ(ScanVolumeInformationReply(scan.reply.begin(), scan.reply.length(), &scan.offset,
                                         &scan.version, &scan.record),
              kInvalid);
    scan.offset = scan.reply.length();
    EXPECT_EQ(ScanVolumeInformationReply(scan.reply.begin(), scan.reply.length(), &scan.offset,
                                         &scan.version, &scan.record),
              kInvalid);
}

TEST(ScanVolumeInformationReply, AReplyWithoutAVolumeIsInvalid) {
    for (const std::string& text :
         {std::string(), element("zrpConsoleReply", ""), document(""), document("<volume/>"),
          element("volumeInformation", volume(5, kTexts + numbers()))}) {
        const Scan scan(text);
        EXPECT_EQ(scan.rc, kInvalid) << text;
        EXPECT_EQ(scan.record, nullptr) << text;
    }
}

TEST(ScanVolumeInformationReply, NeverReadsBeyondATruncatedReply) {
    for (int version = 1; version <= 6; version++) {
        int rc = kInvalid;
        scan_every_prefix(complete(version), [&](char* reply, int length) {
            int offset = 0;
            int versionTag = 0;
            VolumeRecord record;
            rc = ScanVolumeInformationReply(reply, length, &offset, &versionTag, &record);
            EXPECT_LE(offset, length);
            EXPECT_EQ(record != nullptr, rc == kOk) << length;
        });
        EXPECT_EQ(rc, kOk) << "of the whole reply in version " << version;
    }
}

} // namespace
} // namespace zrp::volume_information_test
