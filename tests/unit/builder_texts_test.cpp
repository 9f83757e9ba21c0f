// Every text argument of every builder, with the longest texts and with hostile ones.
#include "common/heap_text.h"
#include "common/requests/cluster_resource.h"
#include "common/requests/connection_management.h"
#include "common/requests/open_files.h"
#include "common/requests/server_login.h"
#include "common/requests/server_settings.h"
#include "common/requests/shadow_volumes.h"
#include "common/requests/storage_daemon.h"
#include "common/requests/volume_information.h"
#include "common/requests/volume_management.h"
#include "common/requests/volume_mounting.h"
#include "tests/unit/catalogue_fixture.h"

namespace zrp::builder_texts_test {
namespace {

constexpr size_t kAnyLength = 100000; // such a row has room for every text

enum class Null : uint8_t { kRefused, kLeftOut };

struct TextArgument {
    const char* name;
    char* (*build)(const char* text, uint32_t* length);
    size_t fits = kAnyLength; // with any process id
    size_t doesNotFit = 0;    // 0: every text fits
    int tooLongErrno = ENOMEM;
    Null null = Null::kRefused;
    bool isReceivedName = false; // may hold any '&'
};

char* build_cluster_volume(const char* name, const char* settings, uint32_t* length) {
    const ClusterVolume volume = {.volumeName = name, .settings = settings};
    return BuildClusterVolumeRequest({&volume, 1}, length);
}

const TextArgument kArguments[] = {
    {"ServerConfig name",
     [](const char* text, uint32_t* length) {
         return BuildServerConfigRequest(kSetServerConfig, 1, text, "1", length);
     },
     8000, 8448},
    {"ServerConfig value",
     [](const char* text, uint32_t* length) {
         return BuildServerConfigRequest(kSetServerConfig, 1, "signingLevel", text, length);
     },
     8000, 8448},
    {"ClusterBind server",
     [](const char* text, uint32_t* length) {
         return BuildClusterBindRequest(text, "10.0.0.1", 1, length);
     },
     800, 1024},
    {"ClusterBind address",
     [](const char* text, uint32_t* length) {
         return BuildClusterBindRequest("VIRTUAL", text, 1, length);
     },
     800, 1024},
    {"ClusterVolume name",
     [](const char* text, uint32_t* length) { return build_cluster_volume(text, nullptr, length); },
     7900, 8192},
    {"PurgeVolume name",
     [](const char* text, uint32_t* length) { return BuildPurgeVolumeRequest(text, length); }},
    {"Login volume",
     [](const char* text, uint32_t* length) {
         return BuildLoginRequest({.volumeName = text}, length);
     },
     300, 500, ENOMEM, Null::kLeftOut},
    {"Login message",
     [](const char* text, uint32_t* length) {
         return BuildLoginRequest({.enable = false, .message = text}, length);
     },
     300, 500, ENOMEM, Null::kLeftOut},
    {"ChangeLoggingLevel options",
     [](const char* text, uint32_t* length) {
         return BuildChangeLoggingLevelRequest(text, length);
     }},
    {"BroadcastMessage message",
     [](const char* text, uint32_t* length) {
         return BuildBroadcastMessageRequest(text, {}, length);
     }},
    {"CreateVolume name",
     [](const char* text, uint32_t* length) {
         return BuildCreateVolumeRequest(text, "/m", 0, 0, length);
     }},
    {"CreateVolume mount point",
     [](const char* text, uint32_t* length) {
         return BuildCreateVolumeRequest("DATA", text, 0, 0, length);
     }},
    {"RemoveVolume name",
     [](const char* text, uint32_t* length) {
         return BuildRemoveVolumeRequest(text, nullptr, length);
     }},
    {"RemoveVolume options",
     [](const char* text, uint32_t* length) {
         return BuildRemoveVolumeRequest("DATA", text, length);
     },
     kAnyLength, 0, ENOMEM, Null::kLeftOut},
    {"ModifyVolume name",
     [](const char* text, uint32_t* length) {
         return BuildModifyVolumeRequest(text, 1, 2, length);
     }},
    {"VolumeInformation name",
     [](const char* text, uint32_t* length) {
         return BuildVolumeInformationRequest(text, length, kVolumeInformationVersion);
     },
     16, 17, EINVAL, Null::kRefused, true},
    {"CreateShadowVolume name",
     [](const char* text, uint32_t* length) {
         return BuildCreateShadowVolumeRequest(text, "/s", "/m", 0, length);
     }},
    {"CreateShadowVolume path",
     [](const char* text, uint32_t* length) {
         return BuildCreateShadowVolumeRequest("DATA", text, "/m", 0, length);
     }},
    {"CreateShadowVolume mount point",
     [](const char* text, uint32_t* length) {
         return BuildCreateShadowVolumeRequest("DATA", "/s", text, 0, length);
     }},
    {"RemoveShadowVolume name",
     [](const char* text, uint32_t* length) {
         return BuildRemoveShadowVolumeRequest(text, nullptr, length);
     }},
    {"RemoveShadowVolume mount point",
     [](const char* text, uint32_t* length) {
         return BuildRemoveShadowVolumeRequest("DATA", text, length);
     },
     kAnyLength, 0, ENOMEM, Null::kLeftOut},
    {"RemoveShadowConfiguration name",
     [](const char* text, uint32_t* length) {
         return BuildRemoveShadowConfigurationRequest(text, "/m", "DATA_S", length);
     }},
    {"RemoveShadowConfiguration mount point",
     [](const char* text, uint32_t* length) {
         return BuildRemoveShadowConfigurationRequest("DATA", text, "DATA_S", length);
     }},
    {"RemoveShadowConfiguration shadow",
     [](const char* text, uint32_t* length) {
         return BuildRemoveShadowConfigurationRequest("DATA", "/m", text, length);
     }},
    {"ListOpenFilesByConnection volume",
     [](const char* text, uint32_t* length) {
         return BuildListOpenFilesByConnectionRequest(text, 0, 0, length);
     },
     kAnyLength, 0, ENOMEM, Null::kLeftOut},
    {"CloseFile name",
     [](const char* text, uint32_t* length) { return BuildCloseFileRequest(text, length); }},
    {"ListFileLocksByFile name",
     [](const char* text, uint32_t* length) {
         return BuildListFileLocksByFileRequest(text, length);
     }},
    {"VolumeTreeControl name",
     [](const char* text, uint32_t* length) {
         return BuildVolumeTreeControlRequest(kVolumeTreeVersion, text, 1, length);
     },
     3900, 4096},
    {"Set name",
     [](const char* text, uint32_t* length) {
         return BuildSetRequest(length, kSetVersion, kSetAttributes, text, nullptr);
     },
     800, 1024, ENOMEM, Null::kLeftOut, true},
    {"Set value",
     [](const char* text, uint32_t* length) {
         return BuildSetRequest(length, kSetVersion, kSetAttributes, "LEVEL", text);
     },
     kAnyLength, 0, ENOMEM, Null::kLeftOut},
};

class BuilderText : public testing::TestWithParam<TextArgument> {
protected:
    static std::string document(const char* text) {
        uint32_t length = 0;
        char* built_text = GetParam().build(text, &length);
        return built(built_text, length);
    }

    static void expect_refused(const char* text, int reason) {
        uint32_t length = 77;
        errno = 0;
        EXPECT_EQ(GetParam().build(text, &length), nullptr) << text;
        EXPECT_EQ(errno, reason);
        EXPECT_EQ(length, 77U);
    }

    // The other text is where the text of a plain document is.
    static void expect_written(const std::string& text) {
        constexpr std::string_view kPlain = ">PLAIN<";
        std::string expected = document("PLAIN");
        const size_t at = expected.find(kPlain);
        ASSERT_NE(at, std::string::npos) << expected;
        expected.replace(at, kPlain.size(), ">" + text + "<");
        EXPECT_EQ(document(text.c_str()), expected);
    }
};

INSTANTIATE_TEST_SUITE_P(Arguments, BuilderText, testing::ValuesIn(kArguments),
                         [](const auto& row) {
                             std::string name = row.param.name;
                             std::erase(name, ' ');
                             return name;
                         });

TEST_P(BuilderText, StandsInTheDocumentAsItIs) {
    for (const std::string& text : sendable_texts()) {
        // The value of a setting is asked for with an empty one.
        if (text.size() <= GetParam().fits &&
            !(text.empty() && GetParam().name == std::string_view("Set value"))) {
            expect_written(text);
        }
    }
    expect_written(kLongestName);
    expect_written(kTooLongName);
    expect_written(std::string(GetParam().fits, 'x'));
}

TEST_P(BuilderText, IsRefusedWhenItWouldBreakTheDocument) {
    for (const char* text : unsendable_texts()) {
        if (text == nullptr && GetParam().null == Null::kLeftOut) {
            EXPECT_NE(document(nullptr), "(null)");
        } else if (text != nullptr && strchr(text, '&') != nullptr && GetParam().isReceivedName) {
            expect_written(text);
        } else {
            expect_refused(text, EINVAL);
        }
    }
}

TEST_P(BuilderText, IsRefusedWhenItDoesNotFit) {
    if (GetParam().doesNotFit != 0) {
        expect_refused(std::string(GetParam().doesNotFit, 'x').c_str(), GetParam().tooLongErrno);
    }
}

TEST_P(BuilderText, NeedsAPlaceForTheLength) {
    errno = 0;
    EXPECT_EQ(GetParam().build("DATA", nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

// Arguments that are taken apart into words. What a word holds goes into the document.
struct WordList {
    const char* name;
    char* (*build)(const char* text, uint32_t* length);
    size_t longestWord;
    int tooLongErrno;
    Null null;
};

const WordList kWordLists[] = {
    {"MountVolumes", BuildMountVolumesRequest, 15, EINVAL, Null::kRefused},
    {"DismountVolumes", BuildDismountVolumesRequest, 15, EINVAL, Null::kRefused},
    {"Zrp2bksParms",
     [](const char* text, uint32_t* length) {
         return BuildZrp2bksParmsRequest(1, 0, text, length);
     },
     7000, ENOMEM, Null::kLeftOut},
    {"ClusterVolume settings",
     [](const char* text, uint32_t* length) {
         const std::string path = std::string("PATH=") + (text == nullptr ? "" : text);
         return build_cluster_volume("DATA", text == nullptr ? nullptr : path.c_str(), length);
     },
     7000, ENOMEM, Null::kLeftOut},
};

TEST(BuilderWords, AreHeldToTheSameRule) {
    for (const WordList& row : kWordLists) {
        SCOPED_TRACE(row.name);
        uint32_t length = 77;
        for (const char* text : unsendable_texts()) {
            errno = 0;
            const HeapText document(row.build(text, &length));
            const bool isLeftOut = text == nullptr && row.null == Null::kLeftOut;
            EXPECT_EQ(document != nullptr, isLeftOut) << (text == nullptr ? "null" : text);
            EXPECT_EQ(errno, isLeftOut ? 0 : EINVAL);
        }
        const std::string longest(row.longestWord, 'x');
        const std::string document = built(row.build(longest.c_str(), &length), length);
        EXPECT_NE(document.find(">" + longest + "<"), std::string::npos);
        errno = 0;
        const std::string tooLong(row.longestWord == 15 ? 16 : 8192, 'x');
        EXPECT_EQ(row.build(tooLong.c_str(), &length), nullptr);
        EXPECT_EQ(errno, row.tooLongErrno);
    }
}

} // namespace
} // namespace zrp::builder_texts_test
