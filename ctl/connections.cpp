// Client connections: their list, and all that the server says of one.
#include "common/requests/connections.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <strings.h>

#include "common/tags.h"
#include "ctl/command.h"
#include "ctl/fields.h"
#include "ctl/numbers.h"
#include "ctl/pages.h"

namespace zrp::ctl {
namespace {

constexpr const char* kNotLoggedInName = "NOT LOGGED IN";

struct ConnectionField {
    Field field;
    bool isListed; // also one of those of the list
};

constexpr ConnectionField kConnectionFields[] = {
    {{tag::stationNumberTag, Field::kNumber, true, "number"}, true},
    {{tag::name, Field::kText}, true},
    {{tag::loginTime, Field::kText}, true},
    {{tag::loginEpoch, Field::kTime}, false},
    {{tag::networkAddress, Field::kText}, false},
    {{tag::zrpRequests, Field::kNumber}, true},
    {{tag::bytesRead, Field::kNumber}, true},
    {{tag::bytesWritten, Field::kNumber}, true},
    {{tag::licensedState, Field::kText}, true},
    {{tag::encrypted, Field::kText}, true},
    {{tag::mfa, Field::kText}, true},
    {{tag::status, Field::kMask}, false},
    {{tag::privileges, Field::kMask}, false},
    {{tag::authenticationMethod, Field::kNumber}, false},
    {{tag::connectionType, Field::kNumber}, false},
};

template <bool kWithAll>
constexpr auto choose_fields() {
    constexpr auto kIsChosen = [](const ConnectionField& one) { return kWithAll || one.isListed; };
    std::array<Field,
               std::count_if(std::begin(kConnectionFields), std::end(kConnectionFields), kIsChosen)>
        chosen = {};
    size_t count = 0;
    for (const ConnectionField& one : kConnectionFields) {
        if (kIsChosen(one)) {
            chosen.at(count++) = one.field;
        }
    }
    return chosen;
}

constexpr auto kListedConnection = choose_fields<false>();
constexpr auto kConnectionDetails = choose_fields<true>();
constexpr size_t kListedStation = 0;
constexpr size_t kListedUser = 1;

// The index of the page after one whose items are the last `count`.
int64_t connections_page_after(Node list, int64_t index, const std::vector<Item>& items,
                               size_t count) {
    const int64_t named = next_page(list, index, kServer);
    if (named != kLastPage || count < kConnectionsOfAPage) {
        return named;
    }
    // Not every server names the next page: it begins after the last station of a full one.
    return read_number(*items.back()[kListedStation]).value_or(kLastPage) + 1;
}

std::vector<Item> list_connections(const Session& session) {
    std::vector<Item> items;
    walk_pages(
        kServer, tag::listConnections,
        [&](int32_t index) {
            return session.ask(kServer, request([&](uint32_t* length) {
                                   return BuildListConnectionsRequest(index, kConnectionsOfAPage,
                                                                      length);
                               }));
        },
        [&](Node list, int64_t index) {
            const size_t before = items.size();
            for (const Node node : list.children(tag::connectionTag)) {
                items.push_back(read_item(kListedConnection, node, kServer));
            }
            return connections_page_after(list, index, items, items.size() - before);
        });
    return items;
}

bool contains_ignoring_case(const std::string& text, const std::string& wanted) {
    return strcasestr(text.c_str(), wanted.c_str()) != nullptr;
}

bool is_wanted(const Item& item, const Arguments& arguments) {
    const std::string& name = *item[kListedUser];
    return (!arguments.has("--logged-in") || name != kNotLoggedInName) &&
           (!arguments.has("--user") || contains_ignoring_case(name, arguments.text("--user")));
}

// Traffic sorts from the most on, all else from the least.
struct SortKey {
    const char* word;
    bool mostFirst;
};

constexpr SortKey kSortKeys[] = {
    {"number", false},        {tag::name, false},     {tag::loginTime, false},
    {tag::zrpRequests, true}, {tag::bytesRead, true}, {tag::bytesWritten, true},
};
constexpr auto kSortWords = [] {
    std::array<const char*, std::size(kSortKeys)> words = {};
    for (size_t i = 0; i < words.size(); i++) {
        words.at(i) = kSortKeys[i].word;
    }
    return words;
}();

size_t column_of(const char* key) {
    const auto* const at =
        std::find_if(kListedConnection.begin(), kListedConnection.end(),
                     [&](const Field& field) { return strcasecmp(key_of(field), key) == 0; });
    return static_cast<size_t>(at - kListedConnection.begin());
}

bool is_less(const Item& a, const Item& b, size_t column) {
    if (kListedConnection.at(column).kind == Field::kText) {
        return strcasecmp(a[column]->c_str(), b[column]->c_str()) < 0;
    }
    return read_unsigned(*a[column]).value_or(0) < read_unsigned(*b[column]).value_or(0);
}

void sort_items(std::vector<Item>& items, const std::string& word) {
    const auto* const key =
        std::find_if(std::begin(kSortKeys), std::end(kSortKeys),
                     [&](const SortKey& one) { return strcasecmp(one.word, word.c_str()) == 0; });
    const size_t column = column_of(key->word);
    std::stable_sort(items.begin(), items.end(), [&](const Item& a, const Item& b) {
        return key->mostFirst ? is_less(b, a, column) : is_less(a, b, column);
    });
}

Outcome show_connections(Session& session, const Arguments& arguments) {
    std::vector<Item> items = list_connections(session);
    std::erase_if(items, [&](const Item& item) { return !is_wanted(item, arguments); });
    if (arguments.has("--sort")) {
        sort_items(items, arguments.text("--sort"));
    }
    if (arguments.has("--limit")) {
        items.resize(std::min(items.size(), static_cast<size_t>(arguments.number("--limit"))));
    }
    Outcome outcome(session.options().json);
    start_items(outcome, "connections", kListedConnection);
    for (const Item& item : items) {
        add_item(outcome, kListedConnection, item);
    }
    return outcome;
}

// A list of names inside a connection, which may not come.
struct NamesRow {
    const char* tag;
    Field count;
    const char* heading;
};

constexpr NamesRow kConnectionNames[] = {
    {tag::openFiles, {tag::openFilesCount, Field::kNumber, false}, "OPEN FILES"},
    {tag::securityEquals, {tag::secEqualsCount, Field::kNumber, false}, "SECURITY EQUALS"},
};

void add_names(const NamesRow& row, Node connection, Json& object, Outcome& outcome) {
    const Node list = connection.child(row.tag);
    if (!list) {
        return;
    }
    const std::span<const Field> count(&row.count, 1);
    object.update(item_json(count, read_item(count, list, kServer)));
    object[row.tag] = Json::array();
    outcome.start_table({{row.heading}});
    for (const Node name : list.children(tag::name)) {
        object[row.tag].push_back(text_of(name));
        outcome.add_row({text_of(name)});
    }
}

Outcome show_connection(Session& session, const Arguments& arguments) {
    const Answer answer =
        session.ask(kServer, request([&](uint32_t* length) {
                        return BuildConnectionInformationRequest(
                            arguments.number("N"), kConnectionInformationVersion, length);
                    }));
    const Node connection =
        command_of(answer, kServer, tag::connectionInformationTag).child(tag::connectionTag);
    const Item item = read_item(kConnectionDetails, connection, kServer);
    Outcome outcome(session.options().json);
    Json object = item_json(kConnectionDetails, item);
    start_properties(outcome);
    add_properties(outcome, kConnectionDetails, item);
    for (const NamesRow& row : kConnectionNames) {
        add_names(row, connection, object, outcome);
    }
    outcome.set("connection", object);
    return outcome;
}

constexpr const char* kConnectionGroup = "Connections";

constexpr Argument kConnectionsArguments[] = {
    {"--logged-in", ArgumentKind::kFlag, Count::kOptional, "only those with a login"},
    {"--user", ArgumentKind::kText, Count::kOptional, "only names that hold the text, in any case"},
    {"--sort", ArgumentKind::kWord, Count::kOptional, "sort by a column, traffic from the most on",
     kSortWords},
    {"--limit", ArgumentKind::kNumber, Count::kOptional, "show so many at most"},
};
constexpr Argument kConnectionArguments[] = {
    {"N", ArgumentKind::kStation, Count::kOne, "the number of the connection"},
};

constexpr Command kConnectionCommands[] = {
    {"connections", kConnectionGroup, "List the connections", Effect::kReadOnly,
     kConnectionsArguments, "zrpctl connections --sort bytesRead --limit 5", show_connections},
    {"connection", kConnectionGroup, "Show all that the server says of a connection",
     Effect::kReadOnly, kConnectionArguments, "zrpctl connection 3", show_connection},
};

} // namespace

std::span<const Command> connection_commands() {
    return kConnectionCommands;
}

} // namespace zrp::ctl
