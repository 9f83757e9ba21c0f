// The exact results and traces of the Volume screen and its dialog.
#include <algorithm>
#include <cstring>

#include "common/bounded_copy.h"
#include "common/heap_text.h"
#include "common/requests/volume_information.h"
#include "common/requests/volume_list.h"
#include "common/result.h"
#include "screens/volume.h"
#include "screens/volume_dialog.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/patterns.h"
#include "tests/support/volume_replies.h"
#include "tests/unit/failing_malloc.h"
#include "tests/unit/screen_fixture.h"
#include "tests/unit/traced.h"

namespace zrp::volume_screen_test {
namespace {

constexpr size_t kListRequestSize = 256;
constexpr size_t kInformationRequestSize = 1024;

// The trace with its addresses masked.
std::string masked(const TraceText& traced) {
    return replace_matches(traced.get(), "=0x0x[0-9a-f]+", "=ADDRESS");
}

std::string quoted(const std::string& text) {
    return "\n\"" + text + "\"\n\n";
}

bool is_empty_list() {
    return std::all_of(std::begin(volumeList), std::end(volumeList), [](const VolumeEntry& entry) {
        return entry.id == -1 && entry.name[0] == '\0';
    });
}

class VolumeList : public ScreenTest {};

TEST_F(VolumeList, TracesEveryStepOfEachPage) {
    const std::string off = listed(4, "OFF", "0x1");
    const std::string first = volume_list(listed(0, "SYS") + off, "9");
    const std::string afterSys = first.substr(first.find(off));
    const std::string afterOff = first.substr(first.find(off) + off.size());
    const Answering daemon({reply(first), kRefusalReply});
    const TraceText traced;
    EXPECT_EQ(do_list_volumes(), kOk);
    const auto offset = [&](const std::string& rest) {
        return "do_list_volumes: ScanListVolumesReply() offset=" +
               std::to_string(first.size() - rest.size()) +
               " ans=ADDRESS\ndo_list_volumes: reply+offset=" + quoted(rest);
    };
    EXPECT_EQ(masked(traced), "do_list_volumes: BuildListVolumesRequest(0)\n"
                              "do_list_volumes: startingIndex=9 szReply=" +
                                  std::to_string(first.size()) +
                                  "\n"
                                  "do_list_volumes: reply=" +
                                  quoted(first) + offset(first) +
                                  "do_list_volumes: ScanListVolumesReply() v=SYS stat=3 id=0\n" +
                                  offset(afterSys) +
                                  "do_list_volumes: ScanListVolumesReply() v=OFF stat=1 id=4\n"
                                  "do_list_volumes: v=OFF stat=1 id=4 NOT MOUNTED\n" +
                                  offset(afterOff) +
                                  "do_list_volumes: ScanListVolumesReply() rc=22\n"
                                  "do_list_volumes: ans=ADDRESS rc=22\n"
                                  "do_list_volumes: BuildListVolumesRequest(9)\n"
                                  "do_list_volumes: CheckForError() rc=-601\n"
                                  "do_list_volumes: volumeCount=1\n");
}

TEST_F(VolumeList, HoldsTheMountedVolumesUnderTheirNumbers) {
    const Answering daemon({reply(volume_list(listed(255, "LAST") + listed(1, "OFF", "1"), "5")),
                            reply(volume_list(listed(7, "OLD") + listed(7, "NEW")))});
    ASSERT_EQ(do_list_volumes(), kOk);
    EXPECT_EQ(volumeCount, 3) << "a repeated number is counted again";
    EXPECT_EQ(volumeList[255].id, 255);
    EXPECT_STREQ(volumeList[255].name, "LAST");
    EXPECT_EQ(volumeList[7].id, 7);
    EXPECT_STREQ(volumeList[7].name, "NEW");
    EXPECT_EQ(volumeList[1].id, -1);
    EXPECT_STREQ(volumeList[1].name, "");
}

// The low 32 bits of the wide ones are 5 and 6.
TEST_F(VolumeList, OmitsNumbersOutsideTheTable) {
    const Answering daemon(
        {reply(volume_list(listed(5, "GOOD") + listed(256, "A") + listed(-1, "B") +
                           listed(4294967301, "C") + listed(-4294967290, "D")))});
    const TraceText traced;
    ASSERT_EQ(do_list_volumes(), kOk);
    EXPECT_EQ(volumeCount, 1);
    EXPECT_STREQ(volumeList[5].name, "GOOD");
    EXPECT_STREQ(volumeList[6].name, "");
    EXPECT_NE(traced.get().find("v=C stat=3 id=4294967301\n"), std::string::npos);
}

TEST_F(VolumeList, AServerErrorOnTheSecondPageKeepsTheFirstAndIsNoFailure) {
    const Answering daemon({reply(volume_list(listed(3, "DATA"), "1")), kRefusalReply});
    EXPECT_EQ(do_list_volumes(), kOk);
    EXPECT_EQ(volumeCount, 1);
    EXPECT_STREQ(volumeList[3].name, "DATA");
}

TEST_F(VolumeList, EndsAtTheLimitOfPagesIfTheServerAlwaysNamesANextOne) {
    const Answering daemon({reply(volume_list(listed(3, "DATA"), "1"))});
    EXPECT_EQ(do_list_volumes(), kOk);
    EXPECT_EQ(daemon.connections(), static_cast<size_t>(kMaxVolumePages));
    EXPECT_EQ(volumeCount, kMaxVolumePages);
    EXPECT_STREQ(volumeList[3].name, "DATA");
}

TEST_F(VolumeList, IsEmptyAfterAFailedExchangeOnAnyPage) {
    const std::string first = reply(volume_list(listed(3, "DATA"), "1"));
    for (const auto& answers : {std::vector{kStatusReply}, std::vector{first, kStatusReply}}) {
        const Answering daemon(answers);
        EXPECT_EQ(do_list_volumes(), static_cast<int>(kSomeStatus));
        EXPECT_EQ(volumeCount, 0);
        EXPECT_TRUE(is_empty_list());
    }
}

TEST_F(VolumeList, WithoutMemoryIsEmptyAndSendsNoRequest) {
    const TraceText traced;
    {
        const FailingMalloc failing(kListRequestSize);
        EXPECT_EQ(do_list_volumes(), kNoMemory);
    }
    EXPECT_EQ(volumeCount, 0);
    EXPECT_TRUE(is_empty_list());
    EXPECT_EQ(traced.get(), "do_list_volumes: BuildListVolumesRequest(0)\n"
                            "do_list_volumes: BuildListVolumesRequest(0) ENOMEM\n");
}

class VolumePage : public ScreenTest {
protected:
    // So many volumes, numbered in steps.
    static void list(int count, int step) {
        std::fill(std::begin(volumeList), std::end(volumeList), VolumeEntry{-1, ""});
        for (int number = 0; number < count * step; number += step) {
            volumeList[number].id = number;
            copy_cut(volumeList[number].name, "V");
        }
    }
};

TEST_F(VolumePage, ReturnsTheCountOnlyWhenEntriesAreLeft) {
    list(25, 1);
    EXPECT_EQ(display_volume_list(window, 0, 8), 24);
    EXPECT_EQ(display_volume_list(window, 24, 16), -1);
    list(24, 1);
    EXPECT_EQ(display_volume_list(window, 0, 8), -1) << "full, but no entries are left";
    list(60, 4);
    EXPECT_EQ(display_volume_list(window, 0, 16), 48);
    EXPECT_EQ(display_volume_list(window, 48, 16), -1) << "48 entries from number 48 on";
}

TEST_F(VolumePage, BeyondTheTableDrawsOnlyTheFrame) {
    list(3, 1);
    EXPECT_EQ(display_volume_list(window, 0, 8), -1);
    EXPECT_EQ(row(1), "0. V" + std::string(20, ' ') + "1. V" + std::string(21, ' ') + "2. V");
    EXPECT_EQ(display_volume_list(window, 256, 8), -1);
    EXPECT_EQ(row(1), "");
}

class VolumeChoice : public ScreenTest {
protected:
    int fkeyFlag = 4711;
    int fkey = 4711;
};

TEST_F(VolumeChoice, WithoutAMountedVolumeIsInvalid) {
    const Answering daemon({reply(volume_list(listed(1, "OFF", "0x1")))});
    const TraceText traced;
    EXPECT_EQ(SelectVolumeNumber(&fkeyFlag, &fkey), kInvalid);
    EXPECT_TRUE(traced.get().starts_with("SelectVolumeNumber: call do_list_volumes()\n"));
    EXPECT_TRUE(traced.get().ends_with("do_list_volumes: volumeCount=0\n"
                                       "SelectVolumeNumber: do_list_volumes() volumeCount == 0\n"));
}

TEST_F(VolumeChoice, WithoutAListReturnsTheCodeOfItsFailure) {
    const Answering daemon({kStatusReply});
    const TraceText traced;
    EXPECT_EQ(SelectVolumeNumber(&fkeyFlag, &fkey), static_cast<int>(kSomeStatus));
    EXPECT_EQ(traced.get(), "SelectVolumeNumber: call do_list_volumes()\n"
                            "do_list_volumes: BuildListVolumesRequest(0)\n"
                            "do_list_volumes: QueryZRPServer() rc=5\n"
                            "SelectVolumeNumber: do_list_volumes() rc=5\n");
}

TEST_F(VolumeChoice, WithoutAWindowIsInvalid) {
    const Answering daemon({reply(volume_list(listed(1, "SYS")))});
    const NoRoomForWindows none;
    const TraceText traced;
    EXPECT_EQ(SelectVolumeNumber(&fkeyFlag, &fkey), kInvalid);
    EXPECT_TRUE(reports_missing_window(traced.get(), "SelectVolumeNumber")) << traced.get();
}

class VolumeScreen : public ScreenTest {
protected:
    void SetUp() override {
        ScreenTest::SetUp();
        select("SYS");
    }

    static void select(const char* name) {
        std::fill(std::begin(volumeList), std::end(volumeList), VolumeEntry{-1, ""});
        selectedVolume = 3;
        volumeList[3].id = 3;
        copy_cut(volumeList[3].name, name);
    }

    int update_with(const std::string& bytes) {
        const Answering daemon({bytes});
        return updateVolumeWindow(window);
    }
};

TEST_F(VolumeScreen, WithoutAWindowIsOutOfRange) {
    EXPECT_EQ(drawVolumeLabels(nullptr), kRange);
    EXPECT_EQ(updateVolumeWindow(nullptr), kRange);
}

TEST_F(VolumeScreen, AVolumeWithANameOf17CharactersIsNeverRequested) {
    select("ABCDEFGHIJKLMNOPQ");
    const Answering daemon({reply(volume_information({}))});
    EXPECT_EQ(updateVolumeWindow(window), kNoMemory);
    EXPECT_EQ(daemon.connections(), 0U);
}

struct CodeCase {
    const char* what;
    std::string bytes;
    int code;
};

TEST_F(VolumeScreen, ReturnsTheCodeOfTheStepThatFailed) {
    const CodeCase cases[] = {
        {"status", kStatusReply, static_cast<int>(kSomeStatus)},
        {"refusal", kRefusalReply, kRefusalCode},
        {"empty", reply(""), kInvalid},
        {"no volume", reply("<zrpConsoleReply/>"), kInvalid},
        {"version 7", reply(volume_information({.version = 7})), kRange},
        {"version 0", reply(volume_information({.version = 0})), kInvalid},
        {"version below 0", reply(volume_information({.version = -3})), kInvalid},
        {"no mount point", reply(volume_information({.mountPoint = ""})), kInvalid},
        {"good", reply(volume_information({})), kOk},
    };
    for (const CodeCase& c : cases) {
        EXPECT_EQ(update_with(c.bytes), c.code) << c.what;
        EXPECT_EQ(row(3), c.code == kOk ? std::string(28, ' ') + "/mnt/sys" : "") << c.what;
    }
}

TEST_F(VolumeScreen, WithoutMemoryForItsRequestOrTheRecord) {
    {
        const FailingMalloc failing(kInformationRequestSize);
        EXPECT_EQ(updateVolumeWindow(window), kNoMemory);
    }
    const FailingAllocation failing(sizeof(VolumeInformation));
    EXPECT_EQ(update_with(reply(volume_information({}))), kNoMemory);
}

TEST_F(VolumeScreen, TracesAnUpdate) {
    const std::string information = volume_information({});
    const TraceText traced;
    EXPECT_EQ(update_with(reply(information)), kOk);
    uint32_t length = 0;
    const HeapText request(BuildVolumeInformationRequest("SYS", &length, 5));
    EXPECT_EQ(traced.get(), "updateVolumeWindow: call BuildVolumeInformationRequest\n"
                            "updateVolumeWindow: call QueryZRPServer\n"
                            "updateVolumeWindow: request=" +
                                quoted(request.get()) +
                                "updateVolumeWindow: reply=" + quoted(information));
}

// A failed scan is traced under the name of the check before it.
TEST_F(VolumeScreen, TracesWhatFails) {
    for (const auto& [bytes, last] :
         {std::pair{kStatusReply, std::string("QueryZRPServer rc=5\n")},
          std::pair{kRefusalReply, std::string("CheckForError rc=-601\n")},
          std::pair{reply(volume_information({.version = 7})),
                    std::string("CheckForError rc=34\n")}}) {
        const TraceText traced;
        update_with(bytes);
        EXPECT_TRUE(traced.get().ends_with("\nupdateVolumeWindow: " + last)) << traced.get();
    }
}

} // namespace
} // namespace zrp::volume_screen_test
