#include "ctl/lookups.h"

#include <algorithm>
#include <strings.h>

#include "common/client/session.h"
#include "common/requests/cluster_resource.h"
#include "common/requests/connections.h"
#include "common/requests/open_files.h"
#include "common/requests/storage_control.h"
#include "common/requests/volume_information.h"
#include "common/result.h"
#include "common/tags.h"
#include "ctl/fields.h"
#include "ctl/pages.h"

namespace zrp::ctl {
namespace {

constexpr const char* kYes = "Yes";

std::string files_text(int64_t count, bool hasMore) {
    return (hasMore ? "more than " : "") + std::to_string(count) +
           (count == 1 && !hasMore ? " open file" : " open files");
}

int64_t number_inside(Node node, const char* tag, const Daemon& daemon) {
    const auto number = read_number(text_inside(node, tag).value_or(""));
    if (!number) {
        fail_reply("an item of the reply is incomplete", daemon);
    }
    return *number;
}

// What find() returns; the value for nothing if a daemon refuses to say.
template <typename Value, typename Find>
Value unless_refused(Find find, Value nothing = {}) {
    try {
        return find();
    } catch (const Failure& failure) {
        if (failure.kind != Kind::kRefused) {
            throw;
        }
        return nothing;
    }
}

Answer ask_about(const Session& session, int32_t station) {
    return session.ask(kServer, request([&](uint32_t* length) {
                           return BuildConnectionInformationRequest(
                               station, kConnectionInformationVersion, length);
                       }));
}

bool is_same_name(const std::string& a, const std::string& b) {
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

} // namespace

std::optional<std::string> volume_detail(const Session& session, const std::string& name,
                                         const char* tag) {
    return unless_refused<std::optional<std::string>>([&]() -> std::optional<std::string> {
        const std::string escaped = client::Escaped(name);
        const Answer answer =
            session.ask(kServer, request([&](uint32_t* length) {
                            return BuildVolumeInformationRequest(escaped.c_str(), length,
                                                                 kMaxVolumeInformationVersion);
                        }));
        const Node volume = command_of(answer, kServer, tag::volumeInformation).child(tag::volume);
        return text_inside(volume, tag).value_or("");
    });
}

std::string open_files_note(const Session& session, const std::string& volume) {
    return unless_refused<std::string>([&] {
        const std::string escaped = client::Escaped(volume);
        const Answer answer =
            session.ask(kServer, request([&](uint32_t* length) {
                            return BuildListOpenFilesByConnectionRequest(
                                volume.empty() ? nullptr : escaped.c_str(), 0, 0, length);
                        }));
        const Node list = command_of(answer, kServer, tag::listOpenFilesByConnection);
        int64_t count = 0;
        for (const Node connection : list.children(tag::connectionTag)) {
            count += number_inside(connection.child(tag::openFiles), tag::openFilesCount, kServer);
        }
        const Node iteration = list.child(tag::iterationInfo);
        return " (" + files_text(count, text_inside(iteration, tag::moreFlag) == kYes) + ')';
    });
}

bool is_open(const Session& session, const std::string& file) {
    bool found = false;
    walk_pages(
        kServer, tag::listOpenFilesByConnection,
        [&](int32_t index) {
            return session.ask(kServer, request([&](uint32_t* length) {
                                   return BuildListOpenFilesByConnectionRequest(nullptr, index, 0,
                                                                                length);
                               }));
        },
        [&](Node list, int64_t index) {
            for (const Node connection : list.children(tag::connectionTag)) {
                for (const Node name : connection.child(tag::openFiles).children(tag::name)) {
                    found = found || text_of(name) == file;
                }
            }
            return next_page(list, index, kServer);
        });
    return found;
}

std::optional<int64_t> connection_count(const Session& session, const char* tag) {
    return unless_refused<std::optional<int64_t>>([&]() -> std::optional<int64_t> {
        const Answer answer = session.ask(kServer, request(BuildServerConnInfoRequest));
        return number_inside(command_of(answer, kServer, tag::serverConnInfo), tag, kServer);
    });
}

std::string connection_note(const Session& session, int32_t station) {
    return unless_refused<std::string>([&] {
        const Answer answer = ask_about(session, station);
        const Node connection =
            command_of(answer, kServer, tag::connectionInformationTag).child(tag::connectionTag);
        const int64_t files =
            number_inside(connection.child(tag::openFiles), tag::openFilesCount, kServer);
        return " (" + text_of(connection.child(tag::name)) + ", " + files_text(files, false) + ')';
    });
}

bool is_connected(const Session& session, int32_t station) {
    try {
        (void)command_of(ask_about(session, station), kServer, tag::connectionInformationTag);
        return true;
    } catch (const Failure& failure) {
        if (failure.kind != Kind::kRefused || failure.code != kNotFound) {
            throw;
        }
        return false;
    }
}

bool is_bound(const Session& session, const std::string& server, const std::string& address) {
    const Answer answer = session.ask(kServer, request(BuildListVirtualServersRequest));
    const Node list =
        command_of(answer, kServer, tag::listvirtualservers).child(tag::virtualservers);
    const auto servers = list.children(tag::server);
    return std::any_of(servers.begin(), servers.end(), [&](Node one) {
        return text_of(one.child(tag::name)) == server && text_of(one.child(tag::IP)) == address;
    });
}

bool is_in_list(const Session& session, const std::string& volume, const char* list) {
    const Answer answer = session.ask(kStorage, request([](uint32_t* length) {
                                          return BuildControlListRequest(kBothLists, length);
                                      }));
    const auto names = command_of(answer, kStorage, command::exclusion_control)
                           .child(list)
                           .children(tag::volumeName);
    return std::any_of(names.begin(), names.end(),
                       [&](Node name) { return is_same_name(text_of(name), volume); });
}

} // namespace zrp::ctl
