// Open files and the locks on them.
#include <strings.h>

#include "common/client/session.h"
#include "common/requests/open_files.h"
#include "common/tags.h"
#include "ctl/command.h"
#include "ctl/fields.h"
#include "ctl/pages.h"

namespace zrp::ctl {
namespace {

constexpr Field kFileOwner[] = {
    {tag::stationNumberTag, Field::kNumber, true, "number"},
    {tag::userName, Field::kText, true, "name"},
};
constexpr Field kFileCount[] = {{tag::openFilesCount, Field::kNumber}};

void add_connection(Node node, Outcome& outcome) {
    const Item item = read_item(kFileOwner, node, kServer);
    const Node list = node.child(tag::openFiles);
    const Item count = read_item(kFileCount, list, kServer);
    Json object = item_json(kFileOwner, item);
    object.update(item_json(kFileCount, count));
    object["files"] = Json::array();
    for (const Node file : list.children(tag::name)) {
        Row row = item_row(kFileOwner, item);
        row.push_back(text_of(file));
        object["files"].push_back(row.back());
        outcome.add_row(std::move(row));
    }
    outcome.append(object);
}

// A further page follows only when the server says so, and then it names where.
int64_t files_page_after(Node list, int64_t index) {
    const Node iteration = list.child(tag::iterationInfo);
    const auto more = text_inside(iteration, tag::moreFlag);
    if (!more) {
        fail_reply("the reply does not say whether a page follows", kServer);
    }
    if (strcasecmp(more->c_str(), "Yes") != 0) {
        return kLastPage;
    }
    const int64_t next = next_page(list, index, kServer);
    if (next == kLastPage) {
        fail_reply("the reply does not say where the next page begins", kServer);
    }
    return next;
}

Outcome show_files(Session& session, const Arguments& arguments) {
    const bool isOne = arguments.has("--volume");
    const std::string volume = isOne ? client::Escaped(arguments.text("--volume")) : "";
    Outcome outcome(session.options().json);
    outcome.start_list("files");
    std::vector<Column> columns = columns_of(kFileOwner);
    columns.push_back({"FILE"});
    outcome.start_table(columns);
    walk_pages(
        kServer, tag::listOpenFilesByConnection,
        [&](int32_t index) {
            return session.ask(kServer, request([&](uint32_t* length) {
                                   return BuildListOpenFilesByConnectionRequest(
                                       isOne ? volume.c_str() : nullptr, index, 0, length);
                               }));
        },
        [&](Node list, int64_t index) {
            for (const Node node : list.children(tag::connectionTag)) {
                add_connection(node, outcome);
            }
            return files_page_after(list, index);
        });
    return outcome;
}

constexpr Field kLocks[] = {
    {tag::stationNumberTag, Field::kNumber, true, "number"},
    {tag::userName, Field::kText, true, "name"},
    {tag::taskNuber, Field::kNumber},
    {tag::accessRights, Field::kMask},
    {tag::zrpFileHandle, Field::kMask},
};
constexpr Field kLockCount[] = {{tag::actualLockCount, Field::kNumber}};

Outcome show_locks(Session& session, const Arguments& arguments) {
    const std::string file = client::Escaped(arguments.text("FILE"));
    const Answer answer =
        session.ask(kServer, request([&](uint32_t* length) {
                        return BuildListFileLocksByFileRequest(file.c_str(), length);
                    }));
    const Node list = command_of(answer, kServer, tag::listFileLocksByFile);
    (void)read_item(kLockCount, list, kServer); // a reply without a count is cut
    Outcome outcome(session.options().json);
    start_items(outcome, "locks", kLocks);
    for (const Node node : list.children(tag::connectionTag)) {
        add_item(outcome, kLocks, read_item(kLocks, node, kServer));
    }
    return outcome;
}

constexpr const char* kFileGroup = "Files";

constexpr Argument kFilesArguments[] = {
    {"--volume", ArgumentKind::kVolume, Count::kOptional, "only files on this volume"},
};
constexpr Argument kLocksArguments[] = {
    {"FILE", ArgumentKind::kText, Count::kOne, "a file as \"zrpctl files\" names it"},
};

constexpr Command kFileCommands[] = {
    {"files", kFileGroup, "List the open files by connection", Effect::kReadOnly, kFilesArguments,
     "zrpctl files --volume DATA", show_files},
    {"locks", kFileGroup, "List the locks of a file", Effect::kReadOnly, kLocksArguments,
     "zrpctl locks DATABASE:mail/inbox.db", show_locks},
};

} // namespace

std::span<const Command> files_commands() {
    return kFileCommands;
}

} // namespace zrp::ctl
