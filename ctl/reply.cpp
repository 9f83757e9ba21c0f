#include "ctl/reply.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "common/result.h"
#include "common/tags.h"
#include "ctl/failure.h"
#include "ctl/numbers.h"

namespace zrp::ctl {
namespace {

constexpr unsigned kParsing =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_ws_pcdata_single | pugi::parse_fragment;

constexpr const char* kDescription = "description";
constexpr const char* kWriteResult = "writeResult";
constexpr const char* kError = "error";

// Their elements called "name" belong to their items.
constexpr std::array kNameLists = {tag::openFiles, tag::securityEquals};

bool is_list(Node node) {
    return std::any_of(kNameLists.begin(), kNameLists.end(),
                       [&](const char* list) { return strcmp(node.name(), list) == 0; });
}

// The next node of a document in the order of its text; null after the last.
Node next_node(Node node) {
    if (node.first_child()) {
        return node.first_child();
    }
    while (node && !node.next_sibling()) {
        node = node.parent();
    }
    return node ? node.next_sibling() : Node();
}

Node find_after(Node node, const char* tag) {
    do {
        node = next_node(node);
    } while (node && strcmp(node.name(), tag) != 0);
    return node;
}

// Replies nest their groups no deeper; a hostile one must not exhaust the stack.
constexpr int kDeepestGroup = 4;

Node find_within(Node outer, const char* tag, int depth) {
    if (const Node child = outer.child(tag)) {
        return child;
    }
    for (const Node group : outer.children()) {
        if (depth > 0 && group.first_child() && !is_list(group)) {
            if (const Node found = find_within(group, tag, depth - 1)) {
                return found;
            }
        }
    }
    return {};
}

bool is_blank(const char* text) {
    return text[strspn(text, " \t\r\n")] == '\0';
}

// Nothing but elements outside the elements.
bool is_only_elements(const pugi::xml_document& tree) {
    for (const Node child : tree.children()) {
        const bool isText = child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata;
        if (isText && !is_blank(child.value())) {
            return false;
        }
    }
    return static_cast<bool>(tree.document_element());
}

} // namespace

Document read_document(Reply reply, const char* daemon) {
    if (reply.text == nullptr || reply.length <= 0) {
        throw Failure{Kind::kReply, "the reply is empty", daemon};
    }
    Document document = {std::move(reply.text), std::make_unique<pugi::xml_document>()};
    const auto length = static_cast<size_t>(reply.length);
    const bool hasZero = memchr(document.text.get(), '\0', length) != nullptr;
    const pugi::xml_parse_result result = document.tree->load_buffer_inplace(
        document.text.get(), length, kParsing, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory) {
        throw std::bad_alloc();
    }
    if (hasZero || !result || !is_only_elements(*document.tree)) {
        throw Failure{Kind::kReply, "the reply is cut short or malformed", daemon};
    }
    return document;
}

void check_refusal(const Document& document, const char* daemon) {
    const Node result = find_after(*document.tree, tag::result);
    if (result && result.attribute(tag::value)) {
        const auto code = read_number(result.attribute(tag::value).value());
        if (!code) {
            throw Failure{Kind::kReply, "the reply has an error code that is no number", daemon};
        }
        if (*code != 0) {
            const std::string words = text_of(find_after(result, kDescription));
            throw Failure{Kind::kRefused, words.empty() ? "the daemon reports an error" : words,
                          daemon, *code};
        }
        return;
    }
    if (const Node write = find_after(*document.tree, kWriteResult)) {
        const std::string words = text_of(find_after(write, kError));
        throw Failure{Kind::kRefused, words.empty() ? ResultText(kWriteError) : words, daemon,
                      kWriteError};
    }
}

std::string text_of(Node element) {
    std::string text;
    for (const Node part : element.children()) {
        text += part.value();
    }
    return text;
}

Node find_inside(Node outer, const char* tag) {
    return find_within(outer, tag, kDeepestGroup);
}

std::optional<std::string> text_inside(Node outer, const char* tag) {
    const Node element = find_inside(outer, tag);
    return element ? std::optional(text_of(element)) : std::nullopt;
}

} // namespace zrp::ctl
