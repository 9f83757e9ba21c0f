#include "common/requests/open_files.h"

#include "tests/unit/catalogue_fixture.h"

namespace zrp::open_files_test {
namespace {

using FileName = char[kFileNameSize];

std::string list_request(const char* volume, int32_t startIndex, int32_t maxItems) {
    uint32_t length = 0;
    char* document = BuildListOpenFilesByConnectionRequest(volume, startIndex, maxItems, &length);
    return built(document, length);
}

std::string close_request(const char* fileName) {
    uint32_t length = 0;
    char* document = BuildCloseFileRequest(fileName, &length);
    return built(document, length);
}

constexpr const char* kList = "listOpenFilesByConnection";

TEST(ListOpenFilesRequest, HoldsWhatIsAskedFor) {
    EXPECT_EQ(list_request("DATA", 7, 50),
              "<zrpConsoleRequest pid=\"PID\"><listOpenFilesByConnection>\n"
              "<volumeName>DATA</volumeName><startIndex>7</startIndex><maxItems>50</maxItems>\n"
              "</listOpenFilesByConnection></zrpConsoleRequest>");
    EXPECT_EQ(list_request("DATA", 0, 0), request_with(kList, "<volumeName>DATA</volumeName>"));
    EXPECT_EQ(list_request(nullptr, 0, 0), request_with(kList, ""));
    EXPECT_EQ(list_request("", INT32_MIN, INT32_MIN),
              request_with(kList, "<volumeName></volumeName><startIndex>-2147483648</startIndex>"
                                  "<maxItems>-2147483648</maxItems>"));
    EXPECT_EQ(list_request("</x>", 0, 0), "(null)");
    EXPECT_EQ(errno, EINVAL);
}

TEST(CloseFileRequest, HoldsTheNameInAGroup) {
    EXPECT_EQ(close_request("DATA:docs/a.txt"),
              "<zrpConsoleRequest pid=\"PID\"><zrpRequests>\n"
              "<fileClose><fileName>DATA:docs/a.txt</fileName></fileClose>\n"
              "</zrpRequests></zrpConsoleRequest>");
    for (const std::string& text : sendable_texts()) {
        EXPECT_EQ(close_request(text.c_str()),
                  request_with("zrpRequests",
                               "<fileClose><fileName>" + text + "</fileName></fileClose>"));
    }
    expect_unsendable_refused(
        [](const char* text, uint32_t* length) { return BuildCloseFileRequest(text, length); });
}

std::string iteration(const std::string& count, const std::string& more, const std::string& next) {
    return "<iterationInfo><moreFlag>" + more + "</moreFlag><stationNumberCount>" + count +
           "</stationNumberCount>" + (next.empty() ? "" : "<startIndex>" + next + "</startIndex>") +
           "</iterationInfo>";
}

std::string connection(const std::string& station, const std::string& user,
                       const std::vector<std::string>& files) {
    std::string names;
    for (const std::string& file : files) {
        names += "<name>" + file + "</name>";
    }
    return "<connectionTag><stationNumberTag>" + station + "</stationNumberTag><userName>" + user +
           "</userName><openFiles><openFilesCount>" + std::to_string(files.size()) +
           "</openFilesCount>" + names + "</openFiles></connectionTag>";
}

// What a callback was given: "STATION USER: FILE FILE; ". It stops with 99 at station 99.
int note(void* context, const OpenFilesConnection& one) {
    auto* seen = static_cast<std::string*>(context);
    *seen += std::to_string(one.stationNumber) + " " + one.userName + ":";
    int offset = 0;
    int count = 0;
    FileName name;
    int rc = kOk;
    while ((rc = ScanOpenFileName(one, &offset, name)) == kOk) {
        *seen += std::string(" ") + name;
        count++;
    }
    EXPECT_EQ(rc, kRange);
    EXPECT_EQ(count, one.openFilesCount);
    *seen += "; ";
    return one.stationNumber == 99 ? 99 : 0;
}

TEST(OpenFilesReply, ConnectionsComeWithTheirFiles) {
    const std::string text =
        reply_with(kList, iteration("2", "No", "") + connection("3", "anna", {"DATA:a", "DATA:b"}) +
                              connection("4", "bob", {}));
    const ExactBlock copy(text);
    const auto length = static_cast<int>(text.size());
    std::string seen;
    OpenFilesConnection one;
    int offset = 0;
    int rc = kOk;
    while ((rc = ScanListOpenFilesByConnectionReply(copy.begin(), length, &offset, &one)) == kOk) {
        note(&seen, one);
    }
    EXPECT_EQ(rc, kRange);
    EXPECT_EQ(seen, "3 anna: DATA:a DATA:b; 4 bob:; ");
}

TEST(OpenFilesReply, ALongTextIsCut) {
    const std::string text =
        reply_with(kList, connection("3", std::string(9000, 'u'), {std::string(9000, 'f')}));
    const ExactBlock copy(text);
    OpenFilesConnection one;
    int offset = 0;
    ASSERT_EQ(ScanListOpenFilesByConnectionReply(copy.begin(), static_cast<int>(text.size()),
                                                 &offset, &one),
              kOk);
    EXPECT_EQ(std::string(one.userName), std::string(kUserNameSize - 1, 'u'));
    FileName name;
    offset = 0;
    ASSERT_EQ(ScanOpenFileName(one, &offset, name), kOk);
    EXPECT_EQ(std::string(name), std::string(kFileNameSize - 1, 'f'));
}

TEST(OpenFilesReply, AMalformedListIsNotItsEnd) {
    for (const std::string& content :
         {std::string("<connectionTag></connectionTag>"), std::string("<connectionTag/>"),
          std::string("<connectionTag><stationNumberTag>3</stationNumberTag>"
                      "<userName>u</userName></connectionTag>"),
          std::string("<connectionTag><stationNumberTag>3</stationNumberTag><userName>u</userName>"
                      "<openFilesCount>1</openFilesCount></connectionTag>")}) {
        const std::string text = reply_with(kList, content);
        const ExactBlock copy(text);
        OpenFilesConnection one = {};
        one.stationNumber = 77;
        int offset = 0;
        EXPECT_EQ(ScanListOpenFilesByConnectionReply(copy.begin(), static_cast<int>(text.size()),
                                                     &offset, &one),
                  kInvalid)
            << content;
        EXPECT_EQ(offset, 0);
        EXPECT_EQ(one.stationNumber, 77);
    }
    const std::string text = reply_with(kList, connection("3", "anna", {}));
    std::string broken = text;
    broken.replace(broken.find("</openFilesCount>"), sizeof "</openFilesCount>" - 1, "");
    OpenFilesConnection none;
    int start = 0;
    EXPECT_EQ(ScanListOpenFilesByConnectionReply(ExactBlock(broken).begin(),
                                                 static_cast<int>(broken.size()), &start, &none),
              kInvalid);
    expect_prefixes_fail(text, [](char* reply, int length) {
        OpenFilesConnection one;
        int offset = 0;
        return ScanListOpenFilesByConnectionReply(reply, length, &offset, &one);
    });
}

TEST(OpenFilesReply, AFileWithoutANameIsRefused) {
    char files[] = "<name/>";
    OpenFilesConnection one = {3, "u", 1, files, sizeof files - 1};
    FileName name = "untouched";
    int offset = 0;
    EXPECT_EQ(ScanOpenFileName(one, &offset, name), kInvalid);
    EXPECT_STREQ(name, "untouched");
    EXPECT_EQ(offset, 0);
    one.files = nullptr;
    one.filesLength = 0;
    EXPECT_EQ(ScanOpenFileName(one, &offset, name), kRange);
}

struct PageRow {
    std::string content;
    int code;
    int32_t count;
    uint32_t next;
};

TEST(OpenFilesPageReply, OnlyYesAndAnIndexMeanMore) {
    const PageRow rows[] = {
        {iteration("5", "Yes", "42"), kOk, 5, 42},
        {iteration("5", "No", "42"), kOk, 5, kEndOfList},
        {iteration("5", "Yes", ""), kOk, 5, kEndOfList},
        {iteration("5", "yes", "42"), kOk, 5, kEndOfList},
        {iteration("5", "Yes please", "42"), kOk, 5, kEndOfList},
        {iteration("0", "", ""), kOk, 0, kEndOfList},
        {iteration("5", "Yes", "4294967295"), kOk, 5, kEndOfList},
        {iteration("5", "Yes", "-1"), kOk, 5, kEndOfList},
        {"", kInvalid, 77, 77},
        {"<iterationInfo/>", kInvalid, 77, 77},
        {"<iterationInfo><moreFlag>Yes</moreFlag></iterationInfo>", kInvalid, 77, 77},
        {"<iterationInfo><stationNumberCount>5</stationNumberCount></iterationInfo>", kInvalid, 77,
         77},
        {"<moreFlag>Yes</moreFlag><stationNumberCount>5</stationNumberCount>", kInvalid, 77, 77},
    };
    for (const PageRow& row : rows) {
        const std::string text = reply_with(kList, row.content);
        OpenFilesPage page = {77, 77};
        EXPECT_EQ(ScanOpenFilesPage(ExactBlock(text).begin(), static_cast<int>(text.size()), &page),
                  row.code)
            << text;
        EXPECT_EQ(page.connectionCount, row.count) << text;
        EXPECT_EQ(page.nextIndex, row.next) << text;
    }
    expect_prefixes_fail(reply_with(kList, iteration("5", "Yes", "42")),
                         [](char* reply, int length) {
                             OpenFilesPage page;
                             return ScanOpenFilesPage(reply, length, &page);
                         });
}

int run_list(const char* volume, ErrorText* errorText, const LogContext* log) {
    std::string seen;
    OpenFilesPage page;
    return ListOpenFilesByConnection(volume, 7, 50, note, &seen, &page, errorText, log);
}

int run_list_all(const char* volume, ErrorText* errorText, const LogContext* log) {
    std::string seen;
    return ListAllOpenFilesByConnection(volume, note, &seen, errorText, log);
}

int run_close(const char* fileName, ErrorText* errorText, const LogContext* log) {
    FileName closed;
    return CloseFile(fileName, closed, errorText, log);
}

struct NamedOperation {
    const char* name;
    int (*run)(const char* text, ErrorText* errorText, const LogContext* log);
};

constexpr NamedOperation kLists[] = {{"list", run_list}, {"list all", run_list_all}};
constexpr NamedOperation kOperations[] = {
    {"list", run_list}, {"list all", run_list_all}, {"close", run_close}};

using OpenFilesOperation = CatalogueTest;

TEST_F(OpenFilesOperation, OnePageIsOneExchange) {
    ScriptedPeer peer(kMainDaemonSocket,
                      answer_with({reply_with(kList, iteration("2", "Yes", "9") +
                                                         connection("3", "anna", {"DATA:a"}) +
                                                         connection("8", "bob", {"DATA:b"}))}));
    std::string seen;
    OpenFilesPage page;
    EXPECT_EQ(ListOpenFilesByConnection("DATA", 3, 2, note, &seen, &page, nullptr, log), kOk);
    EXPECT_EQ(seen, "3 anna: DATA:a; 8 bob: DATA:b; ");
    EXPECT_EQ(page.connectionCount, 2);
    EXPECT_EQ(page.nextIndex, 9U);
    EXPECT_EQ(peer.connections(), 1U);
    EXPECT_EQ(document_of(peer.requests().at(0)), list_request("DATA", 3, 2));
    EXPECT_EQ(contents(), "");
}

TEST_F(OpenFilesOperation, AllPagesFollowTheIndex) {
    ScriptedPeer peer(
        kMainDaemonSocket,
        answer_with({reply_with(kList, iteration("1", "Yes", "9") + connection("3", "a", {"x"})),
                     reply_with(kList, iteration("0", "Yes", "12")),
                     reply_with(kList, iteration("1", "No", "20") + connection("12", "b", {}))}));
    std::string seen;
    EXPECT_EQ(ListAllOpenFilesByConnection("DATA", note, &seen, nullptr, log), kOk);
    EXPECT_EQ(seen, "3 a: x; 12 b:; ");
    const std::vector<std::string> requests = peer.requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(document_of(requests[0]), list_request("DATA", 0, 0));
    EXPECT_EQ(document_of(requests[1]), list_request("DATA", 9, 0));
    EXPECT_EQ(document_of(requests[2]), list_request("DATA", 12, 0));
}

TEST_F(OpenFilesOperation, AListThatDoesNotGoOnIsBrokenOff) {
    for (const char* next : {"5", "4", "0", "2147483648"}) {
        ScriptedPeer peer(kMainDaemonSocket,
                          answer_with({reply_with(kList, iteration("0", "Yes", "5")),
                                       reply_with(kList, iteration("0", "Yes", next))}));
        EXPECT_EQ(run_list_all("DATA", nullptr, log), kInvalid) << next;
        EXPECT_EQ(peer.connections(), 2U);
    }
}

TEST_F(OpenFilesOperation, AFailureOnALaterPageIsReturned) {
    ScriptedPeer peer(kMainDaemonSocket, answer_with({reply_with(kList, iteration("0", "Yes", "5")),
                                                      "<r><result value=\"-5\"/></r>"}));
    EXPECT_EQ(run_list_all(nullptr, nullptr, log), -5);
}

TEST_F(OpenFilesOperation, TheCallbackStopsTheWalk) {
    ScriptedPeer peer(
        kMainDaemonSocket,
        answer_with({reply_with(kList, iteration("2", "Yes", "200") + connection("99", "a", {}) +
                                           connection("100", "b", {}))}));
    EXPECT_EQ(run_list("DATA", nullptr, log), 99);
    EXPECT_EQ(run_list_all("DATA", nullptr, log), 99);
    EXPECT_EQ(peer.connections(), 2U);
}

TEST_F(OpenFilesOperation, AMalformedReplyIsRefused) {
    ScriptedPeer peer(
        kMainDaemonSocket,
        answer_with({"", "", reply_with(kList, ""), reply_with(kList, ""),
                     reply_with(kList, iteration("1", "No", "") + "<connectionTag/>")}));
    for (int i = 0; i < 3; i++) {
        for (const NamedOperation& row : kLists) {
            EXPECT_EQ(row.run("DATA", nullptr, log), kInvalid) << row.name;
        }
    }
}

TEST_F(OpenFilesOperation, ASixteenCharacterNameIsNotSent) {
    for (const NamedOperation& row : kLists) {
        SCOPED_TRACE(row.name);
        {
            ScriptedPeer peer(kMainDaemonSocket, answer_with({"<r><result value=\"9\"/></r>"}));
            EXPECT_EQ(row.run(kLongestName, nullptr, log), 9);
            EXPECT_EQ(peer.connections(), 1U);
        }
        expect_not_sent([&](LogContext* to) { return row.run(kTooLongName, nullptr, to); },
                        kNameTooLong, "[i TIME] Supported Volume name max length 15\n");
    }
}

TEST_F(OpenFilesOperation, AHostileTextIsNotSent) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_not_sent([&](LogContext* to) { return row.run("</x>", nullptr, to); }, kInvalid);
    }
    expect_not_sent([](LogContext* to) { return run_close(nullptr, nullptr, to); }, kInvalid);
}

TEST_F(OpenFilesOperation, EachFaultHasItsCodeAndItsLine) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        const bool isLogged = row.name == std::string("close");
        expect_faults(
            kMainDaemonSocket,
            [&](ErrorText* errorText, LogContext* to) { return row.run("DATA", errorText, to); },
            {kInvalid, isLogged ? kReplyStartLine : ""});
    }
}

TEST_F(OpenFilesOperation, WithoutMemoryNothingIsSent) {
    for (const NamedOperation& row : kOperations) {
        SCOPED_TRACE(row.name);
        expect_no_memory(4 + 255, [&](LogContext* to) { return row.run("DATA", nullptr, to); });
    }
}

std::string close_reply(const std::string& content) {
    return reply_with("zrpRequests", "<fileClose>" + content + "</fileClose>");
}

using CloseFileReply = CatalogueTest;

TEST_F(CloseFileReply, NamesTheFile) {
    FileName closed = "untouched";
    const std::string text = close_reply("<fileName>DATA:a</fileName>");
    EXPECT_EQ(
        ScanCloseFileReply(ExactBlock(text).begin(), static_cast<int>(text.size()), closed, log),
        kOk);
    EXPECT_STREQ(closed, "DATA:a");
    EXPECT_EQ(contents(), "");
}

TEST_F(CloseFileReply, WithoutAnEnvelopeTheLogSaysSo) {
    FileName closed = "untouched";
    const std::string text = close_reply("<fileName>DATA:a</fileName>");
    expect_prefixes_fail(text, [&](char* reply, int length) {
        empty_file();
        const int rc = ScanCloseFileReply(reply, length, closed, log);
        EXPECT_EQ(contents(), rc == kOk ? "" : "[! TIME] error from reply start\n");
        return rc;
    });
    EXPECT_EQ(ScanCloseFileReply(nullptr, 0, closed, nullptr), kInvalid);
}

TEST_F(CloseFileReply, AMissingNameIsNotLogged) {
    FileName closed = "untouched";
    for (const std::string& text : {close_reply(""), reply_with("zrpRequests", "")}) {
        EXPECT_EQ(ScanCloseFileReply(ExactBlock(text).begin(), static_cast<int>(text.size()),
                                     closed, log),
                  kInvalid);
    }
    EXPECT_STREQ(closed, "untouched");
    EXPECT_EQ(contents(), "");
}

TEST_F(CloseFileReply, TheOperationHandsTheLogOn) {
    ScriptedPeer peer(kMainDaemonSocket,
                      answer_with({close_reply("<fileName>DATA:a</fileName>"), ""}));
    FileName closed;
    EXPECT_EQ(CloseFile("DATA:a", closed, nullptr, log), kOk);
    EXPECT_STREQ(closed, "DATA:a");
    EXPECT_EQ(contents(), "");
    EXPECT_EQ(CloseFile("DATA:a", closed, nullptr, log), kInvalid);
    EXPECT_EQ(contents(), "[! TIME] error from reply start\n");
    EXPECT_EQ(document_of(peer.requests().at(0)), close_request("DATA:a"));
}

// The first file of each connection, by its station.
int collect(void* context, const OpenFilesConnection& one) {
    int offset = 0;
    FileName name;
    EXPECT_EQ(ScanOpenFileName(one, &offset, name), kOk);
    static_cast<std::map<int32_t, std::string>*>(context)->emplace(one.stationNumber, name);
    return 0;
}

using OpenFilesOfTheServer = ServerTest;

TEST_F(OpenFilesOfTheServer, PagesAddUpToTheWholeList) {
    std::map<int32_t, std::string> all;
    std::map<int32_t, std::string> paged;
    EXPECT_EQ(ListAllOpenFilesByConnection(nullptr, collect, &all, &errorText, nullptr), kOk)
        << errorText;
    ASSERT_GT(all.size(), 3U);
    OpenFilesPage page = {0, 0};
    size_t counted = 0;
    while (page.nextIndex != kEndOfList) {
        ASSERT_EQ(ListOpenFilesByConnection(nullptr, static_cast<int32_t>(page.nextIndex), 2,
                                            collect, &paged, &page, &errorText, nullptr),
                  kOk)
            << errorText;
        counted += static_cast<size_t>(page.connectionCount);
    }
    EXPECT_EQ(paged, all);
    EXPECT_EQ(counted, all.size());
}

TEST_F(OpenFilesOfTheServer, AVolumeHasItsOwnFiles) {
    std::map<int32_t, std::string> files;
    EXPECT_EQ(ListAllOpenFilesByConnection("DATA", collect, &files, &errorText, nullptr), kOk);
    ASSERT_FALSE(files.empty());
    for (const auto& [station, name] : files) {
        EXPECT_EQ(name.substr(0, 5), "DATA:") << station;
    }
}

TEST_F(OpenFilesOfTheServer, AClosedFileIsNoLongerListed) {
    std::map<int32_t, std::string> files;
    ASSERT_EQ(ListAllOpenFilesByConnection("DATA", collect, &files, &errorText, nullptr), kOk);
    ASSERT_FALSE(files.empty());
    const std::string name = files.begin()->second;
    FileName closed;
    EXPECT_EQ(CloseFile(name.c_str(), closed, &errorText, nullptr), kOk) << errorText;
    EXPECT_EQ(closed, name);
    std::map<int32_t, std::string> left;
    ASSERT_EQ(ListAllOpenFilesByConnection("DATA", collect, &left, &errorText, nullptr), kOk);
    for (const auto& [station, file] : left) {
        EXPECT_NE(file, name) << station;
    }
    EXPECT_EQ(CloseFile(name.c_str(), closed, &errorText, nullptr), 2);
    EXPECT_EQ(std::string(errorText), "2 file is not open: " + name);
}

TEST_F(OpenFilesOfTheServer, ARefusalTellsWhy) {
    EXPECT_EQ(run_list_all("NOWHERE", &errorText, nullptr), 2);
    EXPECT_STREQ(errorText, "2 no such volume: NOWHERE");
    std::string seen;
    OpenFilesPage page;
    EXPECT_EQ(ListOpenFilesByConnection("DATA", -1, 5, note, &seen, &page, &errorText, nullptr),
              22);
    EXPECT_STREQ(errorText, "22 startIndex is not a number of 0 or more");
}

} // namespace
} // namespace zrp::open_files_test
