// The requests of operations whose replies a program may read by itself.
#include <cerrno>
#include <functional>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "common/heap_text.h"
#include "common/requests/component_versions.h"
#include "common/requests/storage_control.h"

namespace zrp::own_reader_requests_test {
namespace {

using Builder = std::function<char*(uint32_t* length)>;

// The document with # for this process's id.
std::string document_of(const Builder& build) {
    uint32_t length = 0;
    const HeapText text(build(&length));
    if (text == nullptr) {
        return "";
    }
    std::string document(text.get(), length);
    const std::string id = "pid=\"" + std::to_string(getpid()) + '"';
    const size_t at = document.find(id);
    return at == std::string::npos ? document : document.replace(at, id.size(), "#");
}

std::string storage(const std::string& command, const std::string& content) {
    return "<zrp2bks_request #><" + command + ">\n" + content + "\n</" + command +
           "></zrp2bks_request>";
}

TEST(OwnReaderRequests, AskForVersions) {
    EXPECT_EQ(document_of(BuildServerVersionRequest),
              "<zrpConsoleRequest #><versionTag>\n\n</versionTag></zrpConsoleRequest>");
    EXPECT_EQ(document_of(BuildBksVersionRequest), storage("versionTag", ""));
    EXPECT_EQ(document_of(BuildOmwVersionRequest),
              "<libomw2zrpRequestTag #><versionTag>\n\n</versionTag></libomw2zrpRequestTag>");
}

TEST(OwnReaderRequests, ControlTheStorageDaemon) {
    const auto list = [](int32_t which) {
        return document_of(
            [&](uint32_t* length) { return BuildControlListRequest(which, length); });
    };
    EXPECT_EQ(list(0), storage("exclusion_control", "<listVolumes><all/></listVolumes>"));
    EXPECT_EQ(list(kExcludedVolumes),
              storage("exclusion_control", "<listVolumes><zrpexcluded/></listVolumes>"));
    EXPECT_EQ(list(kIncludedVolumes),
              storage("exclusion_control", "<listVolumes><zrpincluded/></listVolumes>"));
    EXPECT_EQ(list(8), "");
    EXPECT_EQ(errno, EINVAL);
    const auto action = [](uint32_t which) {
        return document_of(
            [&](uint32_t* length) { return BuildControlActionRequest(which, "DATA", length); });
    };
    EXPECT_EQ(
        action(kRemoveFromControl | kThenDismount),
        storage("exclusion_control",
                "<removeVolume><volumeName>DATA</volumeName><dismountVolumes/></removeVolume>"));
    EXPECT_EQ(
        action(kAddToControl),
        storage("exclusion_control", "<createVolume><volumeName>DATA</volumeName></createVolume>"));
    EXPECT_EQ(action(kThenMount), "");
    EXPECT_EQ(document_of([](uint32_t* length) { return BuildMountPointRequest("D", length); }),
              storage("exclusion_control", "<get_volume_mount_point><volumeName>D</volumeName>"
                                           "</get_volume_mount_point>"));
}

TEST(OwnReaderRequests, ChangeTheFilter) {
    EXPECT_EQ(document_of(BuildFilterListRequest), storage("filter", "<list/>"));
    EXPECT_EQ(document_of(BuildFilterResetRequest), storage("filter", "<reset/>"));
    EXPECT_EQ(document_of(BuildFilterOffRequest), storage("filter", "<off/>"));
    EXPECT_EQ(document_of([](uint32_t* length) { return BuildFilterSetRequest("e", 255, length); }),
              storage("filter", "<set><parm><name>e</name><value>0xff</value></parm></set>"));
}

} // namespace
} // namespace zrp::own_reader_requests_test
