#include "common/requests/open_files.h"
#include "tests/unit/catalogue_fixture.h"

namespace zrp::file_locks_test {
namespace {

std::string list_request(const char* fileName) {
    uint32_t length = 0;
    char* document = BuildListFileLocksByFileRequest(fileName, &length);
    return built(document, length);
}

std::string close_request(int32_t station) {
    uint32_t length = 0;
    char* document = BuildCloseConnectionLocksRequest(station, &length);
    return built(document, length);
}

constexpr const char* kList = "listFileLocksByFile";

TEST(ListFileLocksRequest, HoldsTheName) {
    EXPECT_EQ(list_request("DATA:docs/a.txt"),
              "<zrpConsoleRequest pid=\"PID\"><listFileLocksByFile>\n"
              "<fileName>DATA:docs/a.txt</fileName>\n"
              "</listFileLocksByFile></zrpConsoleRequest>");
    for (const std::string& text : sendable_texts()) {
        EXPECT_EQ(list_request(text.c_str()),
                  request_with(kList, "<fileName>" + text + "</fileName>"));
    }
    expect_unsendable_refused([](const char* text, uint32_t* length) {
        return BuildListFileLocksByFileRequest(text, length);
    });
}

TEST(CloseConnectionLocksRequest, HoldsTheStationInAGroup) {
    EXPECT_EQ(close_request(41),
              "<zrpConsoleRequest pid=\"PID\"><zrpRequests>\n<closeConnectionLocksTag>"
              "<stationNumberTag>41</stationNumberTag></closeConnectionLocksTag>\n"
              "</zrpRequests></zrpConsoleRequest>");
    EXPECT_EQ(close_request(INT32_MIN),
              request_with("zrpRequests", "<closeConnectionLocksTag><stationNumberTag>-2147483648"
                                          "</stationNumberTag></closeConnectionLocksTag>"));
}

std::string lock(const std::string& station, const std::string& task, const std::string& rights,
                 const std::string& handle, const std::string& user) {
    return "<connectionTag><stationNumberTag>" + station + "</stationNumberTag><taskNuber>" + task +
           "</taskNuber><accessRights>" + rights + "</accessRights><zrpFileHandle>" + handle +
           "</zrpFileHandle><userName>" + user + "</userName></connectionTag>";
}

std::string counted(const std::string& count, const std::string& locks) {
    return reply_with(kList, "<actualLockCount>" + count + "</actualLockCount>" + locks);
}

TEST(FileLocksReply, IsRecordsOrNothing) {
    expect_prefixes_fail(
        counted("1", lock("3", "7", "0x1F", "0xFFFFFFFFFFFFFFFF", "anna")),
        [](char* reply, int length) {
            FileLock one = {77, 77, 77, 77, "untouched"};
            int offset = 0;
            const int rc = ScanListFileLocksByFileReply(reply, length, &offset, &one);
            const bool read = rc == kOk;
            EXPECT_EQ(one.stationNumber, read ? 3 : 77);
            EXPECT_EQ(one.taskNumber, read ? 7 : 77);
            EXPECT_EQ(one.accessRights, read ? 31U : 77U);
            EXPECT_EQ(one.zrpFileHandle, read ? UINT64_MAX : 77U);
            EXPECT_STREQ(one.userName, read ? "anna" : "untouched");
            if (read) {
                EXPECT_EQ(ScanListFileLocksByFileReply(reply, length, &offset, &one), kRange);
            }
            return rc;
        });
}

TEST(FileLocksReply, TheServersSpellingIsTheOnlyOne) {
    std::string text = counted("1", lock("3", "7", "1", "1", "anna"));
    for (size_t at = text.find("taskNuber"); at != std::string::npos; at = text.find("taskNuber")) {
        text.replace(at, 9, "taskNumber");
    }
    FileLock one;
    int offset = 0;
    EXPECT_EQ(ScanListFileLocksByFileReply(ExactBlock(text).begin(), static_cast<int>(text.size()),
                                           &offset, &one),
              kInvalid);
}

TEST(FileLocksReply, TheCountIsReadOrMissed) {
    expect_prefixes_fail(counted("12", ""), [](char* reply, int length) {
        int32_t count = 77;
        const int rc = ScanActualLockCount(reply, length, &count);
        EXPECT_EQ(count, rc == kOk ? 12 : 77);
        return rc;
    });
    const std::string text = reply_with(kList, lock("3", "7", "1", "1", "anna"));
    int32_t count = 77;
    EXPECT_EQ(ScanActualLockCount(ExactBlock(text).begin(), static_cast<int>(text.size()), &count),
              kInvalid);
    EXPECT_EQ(count, 77);
}

std::string close_reply(const std::string& content) {
    return reply_with("zrpRequests", content);
}

constexpr const char* kClosed = "<closeConnectionLocksTag/>";

using CloseLocksReply = CatalogueTest;

TEST_F(CloseLocksReply, MustNameTheRequest) {
    expect_prefixes_fail(close_reply(kClosed), [&](char* reply, int length) {
        empty_file();
        const int rc = ScanCloseConnectionLocksReply(reply, length, log);
        EXPECT_EQ(contents(), rc == kOk ? "" : "[! TIME] error from reply start\n");
        return rc;
    });
    const std::string other = close_reply("<fileClose/>");
    empty_file();
    EXPECT_EQ(ScanCloseConnectionLocksReply(ExactBlock(other).begin(),
                                            static_cast<int>(other.size()), log),
              kInvalid);
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(ScanCloseConnectionLocksReply(nullptr, 0, nullptr), kInvalid);
}

// What a callback was given: "STATION USER; ". It stops with 99 at station 99.
int note(void* context, const FileLock& one) {
    *static_cast<std::string*>(context) +=
        std::to_string(one.stationNumber) + " " + one.userName + "; ";
    return one.stationNumber == 99 ? 99 : 0;
}

int run_list(const char* fileName, ErrorText* errorText, const LogContext* log) {
    std::string seen;
    int32_t count = 0;
    return ListFileLocksByFile(fileName, note, &seen, &count, errorText, log);
}

int run_close(const char*, ErrorText* errorText, const LogContext* log) {
    return CloseConnectionLocks(41, errorText, log);
}

struct NamedOperation {
    const char* name;
    int (*run)(const char* fileName, ErrorText* errorText, const LogContext* log);
    size_t room; // for a name of 4 characters
};

constexpr NamedOperation kOperations[] = {{"list", run_list, 4 + 255}, {"close", run_close, 256}};

using FileLocksOperation = CatalogueTest;

TEST_F(FileLocksOperation, TheCallbackGetsEachLock) {
    ScriptedPeer peer(kMainDaemonSocket,
                      answer_with({counted("2", lock("3", "1", "1", "1", "anna") +
                                                    lock("99", "1", "1", "1", "bob") +
                                                    lock("4", "1", "1", "1", "cyd")),
                                   counted("0", ""), close_reply(kClosed)}));
    std::string seen;
    int32_t count = 77;
    EXPECT_EQ(ListFileLocksByFile("DATA:a", note, &seen, &count, nullptr, log), 99);
    EXPECT_EQ(seen, "3 anna; 99 bob; ");
    EXPECT_EQ(count, 2);
    EXPECT_EQ(ListFileLocksByFile("DATA:a", note, &seen, &count, nullptr, log), kOk);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(CloseConnectionLocks(41, nullptr, log), kOk);
    EXPECT_EQ(document_of(peer.requests().at(0)), list_request("DATA:a"));
    EXPECT_EQ(document_of(peer.requests().at(2)), close_request(41));
    EXPECT_EQ(contents(), "");
}

TEST_F(FileLocksOperation, AMalformedReplyIsRefused) {
    ScriptedPeer peer(kMainDaemonSocket, answer_with({"", reply_with(kList, ""),
                                                      counted("1", "<connectionTag/>"), ""}));
    EXPECT_EQ(run_list("DATA:a", nullptr, log), kInvalid);
    EXPECT_EQ(run_list("DATA:a", nullptr, log), kInvalid);
    EXPECT_EQ(run_list("DATA:a", nullptr, log), kInvalid);
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(CloseConnectionLocks(41, nullptr, log), kInvalid);
    EXPECT_EQ(contents(), "[! TIME] error from reply start\n");
}

TEST_F(FileLocksOperation, AHostileNameIsNotSent) {
    for (const char* text : unsendable_texts()) {
        expect_not_sent([&](LogContext* to) { return run_list(text, nullptr, to); }, kInvalid);
    }
}

TEST_F(FileLocksOperation, EachFaultHasItsCodeAndItsLine) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        const bool isLogged = row.name == std::string("close");
        expect_faults(
            kMainDaemonSocket,
            [&](ErrorText* errorText, LogContext* to) { return row.run("DATA", errorText, to); },
            {kInvalid, isLogged ? kReplyStartLine : ""});
    }
}

TEST_F(FileLocksOperation, WithoutMemoryNothingIsSent) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_no_memory(row.room, [&](LogContext* to) { return row.run("DATA", nullptr, to); });
    }
}

// The names of all open files.
int collect(void* context, const OpenFilesConnection& one) {
    auto* names = static_cast<std::vector<std::string>*>(context);
    int offset = 0;
    char name[kFileNameSize];
    while (ScanOpenFileName(one, &offset, name) == kOk) {
        names->emplace_back(name);
    }
    return 0;
}

int keep_station(void* context, const FileLock& one) {
    *static_cast<int32_t*>(context) = one.stationNumber;
    return 0;
}

using LocksOfTheServer = ServerTest;

TEST_F(LocksOfTheServer, LocksAreListedUntilTheyAreClosed) {
    std::vector<std::string> names;
    ASSERT_EQ(ListAllOpenFilesByConnection(nullptr, collect, &names, &errorText, nullptr), kOk);
    for (const std::string& name : names) {
        int32_t count = 0;
        int32_t station = 0;
        ASSERT_EQ(
            ListFileLocksByFile(name.c_str(), keep_station, &station, &count, &errorText, nullptr),
            kOk)
            << errorText;
        if (count == 0) {
            continue;
        }
        EXPECT_EQ(CloseConnectionLocks(station, &errorText, nullptr), kOk) << errorText;
        int32_t left = 0;
        EXPECT_EQ(
            ListFileLocksByFile(name.c_str(), keep_station, &station, &left, &errorText, nullptr),
            kOk);
        EXPECT_EQ(left, count - 1);
        return;
    }
    FAIL() << "no open file is locked";
}

TEST_F(LocksOfTheServer, ARefusalTellsWhy) {
    EXPECT_EQ(run_list("NOWHERE:a", &errorText, nullptr), 2);
    EXPECT_STREQ(errorText, "2 no such file: NOWHERE:a");
    EXPECT_EQ(CloseConnectionLocks(999999, &errorText, nullptr), 2);
    EXPECT_STREQ(errorText, "2 no such connection: 999999");
}

} // namespace
} // namespace zrp::file_locks_test
