// A main daemon with an answer for each command, in whatever order the monitor's two threads ask.
//
//     CommandAnswers daemon;
//     daemon.answer("listVolumes", {list(...)});
//     ScriptedPeer peer(kMainDaemonSocket, {daemon.script()});
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/scripted_peer.h"

namespace zrp {

// Must outlive the peer that follows its script. Any thread may change the answers meanwhile.
// Without an answer to the command the connection is closed.
class CommandAnswers {
public:
    // Answers the command with these documents in order, and further requests with the last.
    void answer(const std::string& command, const std::vector<std::string>& documents) {
        std::vector<std::string> all;
        for (const std::string& document : documents) {
            all.push_back(reply(document));
        }
        answer_raw(command, all);
    }

    // The same with whole messages, header included.
    void answer_raw(const std::string& command, const std::vector<std::string>& bytes) {
        const std::lock_guard lock(mutex_);
        commands_[command].answers = bytes;
        commands_[command].next = 0;
    }

    // The requests with the command so far.
    [[nodiscard]] std::vector<std::string> requests(const std::string& command) const {
        const std::lock_guard lock(mutex_);
        const auto found = commands_.find(command);
        return found == commands_.end() ? std::vector<std::string>() : found->second.requests;
    }

    [[nodiscard]] PeerScript script() {
        return {read_request(), reply_to([this](const std::string& text) { return next(text); })};
    }

private:
    struct Command {
        std::vector<std::string> answers;
        size_t next = 0;
        std::vector<std::string> requests;
    };

    std::string next(const std::string& request) {
        const std::lock_guard lock(mutex_);
        for (auto& [name, command] : commands_) {
            if (request.find("<" + name + ">") == std::string::npos) {
                continue;
            }
            command.requests.push_back(request);
            if (command.answers.empty()) {
                break;
            }
            const std::string bytes = command.answers[command.next];
            command.next += command.next + 1 < command.answers.size() ? 1 : 0;
            return bytes;
        }
        return {};
    }

    mutable std::mutex mutex_;
    std::map<std::string, Command> commands_;
};

} // namespace zrp
