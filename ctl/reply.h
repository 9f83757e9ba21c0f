// A reply as a tree, read strictly: all of it is well formed, or there is none.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <pugixml.hpp>

#include "common/heap_text.h"

namespace zrp::ctl {

using Node = pugi::xml_node;

// Keeps the text of the reply, which the nodes point into.
struct Document {
    HeapText text;
    std::unique_ptr<pugi::xml_document> tree;
};

// Throws a Failure of kind kReply for what is cut short or malformed.
Document read_document(Reply reply, const char* daemon);

// Throws a Failure of kind kRefused when the reply reports an error, with its words.
void check_refusal(const Document& document, const char* daemon);

// The text of an element, its references resolved.
std::string text_of(Node element);

// The element of that name inside another: a child, or inside a group of it, but not in a list of
// names.
Node find_inside(Node outer, const char* tag);

// Its text; nothing if the element did not come.
std::optional<std::string> text_inside(Node outer, const char* tag);

} // namespace zrp::ctl
