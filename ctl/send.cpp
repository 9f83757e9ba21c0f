// A document of the user's own, sent unchanged.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <strings.h>
#include <unistd.h>

#include "common/requests/diagnostics.h"
#include "common/result.h"
#include "common/tags.h"
#include "ctl/acts.h"
#include "ctl/interrupt.h"
#include "ctl/printing.h"

namespace zrp::ctl {
namespace {

constexpr const char* kDocumentFile = "FILE";
constexpr const char* kToDaemon = "--to";
constexpr const char* kStandardInput = "-";
constexpr size_t kMostBytes = 64 << 20;

class DocumentFile {
public:
    explicit DocumentFile(const std::string& path)
        : isStandardInput_(path == kStandardInput),
          fd_(isStandardInput_ ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    DocumentFile(const DocumentFile&) = delete;
    DocumentFile& operator=(const DocumentFile&) = delete;
    ~DocumentFile() {
        if (!isStandardInput_ && fd_ >= 0) {
            close(fd_);
        }
    }

    [[nodiscard]] int fd() const {
        return fd_;
    }

private:
    bool isStandardInput_;
    int fd_;
};

[[noreturn]] void fail_document(const std::string& path, const std::string& why) {
    throw Failure{Kind::kUsage, std::string(kDocumentFile) + " \"" + path + "\" " + why};
}

std::string read_file(const std::string& path) {
    const DocumentFile file(path);
    std::string text;
    char block[65536];
    for (;;) {
        const ssize_t count = file.fd() < 0 ? -1 : read(file.fd(), block, sizeof block);
        if (was_interrupted()) {
            throw Failure{Kind::kInterrupted, "interrupted"};
        }
        if (count < 0 && errno != EINTR) {
            fail_document(path, std::string("cannot be read: ") + ResultText(errno));
        }
        if (count == 0) {
            return text;
        }
        text.append(block, count < 0 ? 0 : static_cast<size_t>(count));
        if (text.size() > kMostBytes) {
            fail_document(path, "is longer than a request may be");
        }
    }
}

HeapText copy_of(const std::string& text) {
    HeapText copy(static_cast<char*>(malloc(text.size() + 1)));
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    memcpy(copy.get(), text.c_str(), text.size() + 1);
    return copy;
}

// The storage daemon takes its two kinds of documents under different request numbers.
const Daemon& daemon_for(const Arguments& arguments, const std::string& document) {
    const std::string to = arguments.has(kToDaemon) ? arguments.text(kToDaemon) : kServer.name;
    if (strcasecmp(to.c_str(), kManagement.name) == 0) {
        return kManagement;
    }
    if (strcasecmp(to.c_str(), kStorage.name) != 0) {
        return kServer;
    }
    const std::string counters = std::string("<") + diagnostic::zrp2bksDiagnosticRequest;
    return document.find(counters) == std::string::npos ? kStorage : kStorageCounters;
}

Request request_of(const std::string& document, const Daemon& daemon) {
    Request made;
    made.document = document;
    if (&daemon == &kStorageCounters) {
        made.bytes.reset(WrapDiagnosticRequest(
            document.c_str(), static_cast<uint32_t>(document.size()), &made.length));
        if (made.bytes == nullptr) {
            throw std::bad_alloc();
        }
        return made;
    }
    made.bytes = copy_of(document);
    made.length = static_cast<uint32_t>(document.size());
    return made;
}

Outcome send_document(Session& session, const Arguments& arguments) {
    const std::string& path = arguments.text(kDocumentFile);
    const Clock::time_point start = Clock::now();
    const std::string document = read_file(path);
    session.give_back(Clock::now() - start);
    if (document.empty()) {
        fail_document(path, "is empty");
    }
    const Daemon& daemon = daemon_for(arguments, document);
    confirm(session, [&] {
        return "Send " + std::to_string(document.size()) + " bytes to the " + daemon.name +
               " daemon";
    });
    std::string reply;
    (void)session.change(daemon, request_of(document, daemon), &reply);
    Outcome outcome(session.options().json);
    outcome.set("reply", reply);
    outcome.add_text(shown_document(reply));
    return outcome;
}

constexpr const char* kDaemonWords[] = {"server", "storage", "management"};
constexpr Argument kSendArguments[] = {
    {kDocumentFile, ArgumentKind::kFile, Count::kOne, "the document; \"-\" is standard input"},
    {kToDaemon, ArgumentKind::kWord, Count::kOptional, "the daemon, server by default",
     kDaemonWords},
};

constexpr Command kSendCommands[] = {
    {"send", "Support", "Send a document and print the reply", Effect::kSends, kSendArguments,
     "echo '<zrpConsoleRequest pid=\"1\"><threads/></zrpConsoleRequest>' | zrpctl send - --yes",
     send_document},
};

} // namespace

std::span<const Command> send_commands() {
    return kSendCommands;
}

} // namespace zrp::ctl
