// What an engineer would pick instead of the library's reader. Trees are asked for each value by
// its name; streams fill a text for each value as it comes.
#include <array>
#include <cstdlib>
#include <iterator>

#include <expat.h>
#include <libxml/xmlreader.h>
#include <pugixml.hpp>
#include <rapidxml/rapidxml.hpp>

#include "bench/documents.h"
#include "common/requests/volume_list.h"
#include "common/xml_reader.h"

namespace zrp::bench {
namespace {

// Trees.

struct PugixmlTree {
    using Node = pugi::xml_node;

    pugi::xml_document document;

    PugixmlTree(char* text, size_t size) {
        document.load_buffer_inplace(text, size, pugi::parse_default, pugi::encoding_utf8);
    }
    [[nodiscard]] Node top(const char* name) const {
        return document.child(name);
    }
    static Node child(Node node, const char* name) {
        return node.child(name);
    }
    static Node next(Node node, const char* name) {
        return node.next_sibling(name);
    }
    static const char* text(Node node) {
        return node.child_value();
    }
    static const char* attribute(Node node, const char* name) {
        return node.attribute(name).value();
    }
};

struct RapidxmlTree {
    using Node = rapidxml::xml_node<>*;

    rapidxml::xml_document<> document;

    RapidxmlTree(char* text, size_t /*size*/) {
        document.parse<0>(text);
    }
    [[nodiscard]] Node top(const char* name) const {
        return document.first_node(name);
    }
    static Node child(Node node, const char* name) {
        return node != nullptr ? node->first_node(name) : nullptr;
    }
    static Node next(Node node, const char* name) {
        return node->next_sibling(name);
    }
    static const char* text(Node node) {
        if (node == nullptr) {
            return "";
        }
        // A CDATA section is not the value of its element, but a node of its own.
        const bool hasSection = node->value_size() == 0 && node->first_node() != nullptr;
        return hasSection ? node->first_node()->value() : node->value();
    }
    static const char* attribute(Node node, const char* name) {
        const auto* found = node != nullptr ? node->first_attribute(name) : nullptr;
        return found != nullptr ? found->value() : "";
    }
};

// Calls `take` with each item of the list, after the check for an error.
template <typename Tree, typename Take>
void visit(char* text, size_t size, const char* list, const char* item, Take take) {
    const Tree tree(text, size);
    const auto reply = tree.top("zrpConsoleReply");
    if (strcmp(Tree::attribute(Tree::child(reply, "result"), "value"), "0") != 0) {
        return;
    }
    for (auto node = Tree::child(Tree::child(reply, list), item); node;
         node = Tree::next(node, item)) {
        take(node);
    }
}

template <typename Tree>
const char* text_of(typename Tree::Node node, const char* name) {
    return Tree::text(Tree::child(node, name));
}

template <typename Tree>
uint64_t number_of(typename Tree::Node node, const char* name) {
    return strtoull(text_of<Tree>(node, name), nullptr, 0);
}

template <typename Tree>
void parse_volumes(char* text, size_t size, Sum& sum) {
    visit<Tree>(text, size, "listVolumes", "volume", [&](auto node) {
        ListedName name;
        copy_text(name, text_of<Tree>(node, "name"));
        sum.add(name);
        sum.add(number_of<Tree>(node, "status"));
        sum.add(number_of<Tree>(node, "volumeNumber"));
    });
}

template <typename Tree>
void parse_connections(char* text, size_t size, Sum& sum) {
    visit<Tree>(text, size, "listConnections", "connectionTag", [&](auto node) {
        ConnectionEntry entry = {};
        entry.stationNumber = static_cast<int32_t>(number_of<Tree>(node, "stationNumberTag"));
        entry.zrpRequests = static_cast<uint32_t>(number_of<Tree>(node, "zrpRequests"));
        entry.bytesRead = number_of<Tree>(node, "bytesRead");
        entry.bytesWritten = number_of<Tree>(node, "bytesWritten");
        copy_text(entry.name, text_of<Tree>(node, "name"));
        copy_text(entry.loginTime, text_of<Tree>(node, "loginTime"));
        copy_text(entry.licensedState, text_of<Tree>(node, "licensedState"));
        copy_text(entry.encrypted, text_of<Tree>(node, "encrypted"));
        copy_text(entry.mfa, text_of<Tree>(node, "mfa"));
        sum.add(entry);
    });
}

struct Counter {
    char name[kParmNameSize];
    char type[kParmTypeSize];
    char value[64];
};

void add_counter(std::string_view name, std::string_view type, std::string_view value, Sum& sum) {
    static Counter counter;
    copy_text(counter.name, name);
    copy_text(counter.type, type);
    copy_text(counter.value, value);
    sum.add(counter.name);
    sum.add(counter.type);
    sum.add(counter.value);
}

template <typename Tree>
void parse_counters(char* text, size_t size, Sum& sum) {
    visit<Tree>(text, size, "serverStatistics", "parm", [&](auto node) {
        const auto value = Tree::child(node, "value");
        add_counter(text_of<Tree>(node, "name"), Tree::attribute(value, "type"), Tree::text(value),
                    sum);
    });
}

// Streams.

using Texts = std::array<std::string, 9>;

struct Shape {
    const char* list;
    const char* item;
    std::array<const char*, 9> fields;
    void (*store)(const Texts& texts, Sum& sum);
};

uint64_t number(const std::string& text) {
    return strtoull(text.c_str(), nullptr, 0);
}

constexpr Shape kVolumes = {
    "listVolumes", "volume", {"name", "status", "volumeNumber"}, [](const Texts& texts, Sum& sum) {
        ListedName name;
        copy_text(name, texts[0]);
        sum.add(name);
        sum.add(number(texts[1]));
        sum.add(number(texts[2]));
    }};

constexpr Shape kConnections = {"listConnections",
                                "connectionTag",
                                {"stationNumberTag", "zrpRequests", "bytesRead", "bytesWritten",
                                 "name", "loginTime", "licensedState", "encrypted", "mfa"},
                                [](const Texts& texts, Sum& sum) {
                                    ConnectionEntry entry = {};
                                    entry.stationNumber = static_cast<int32_t>(number(texts[0]));
                                    entry.zrpRequests = static_cast<uint32_t>(number(texts[1]));
                                    entry.bytesRead = number(texts[2]);
                                    entry.bytesWritten = number(texts[3]);
                                    copy_text(entry.name, texts[4]);
                                    copy_text(entry.loginTime, texts[5]);
                                    copy_text(entry.licensedState, texts[6]);
                                    copy_text(entry.encrypted, texts[7]);
                                    copy_text(entry.mfa, texts[8]);
                                    sum.add(entry);
                                }};

constexpr int kTypeText = 2; // of the attribute, whose element is the field before it

constexpr Shape kCounters = {
    "serverStatistics", "parm", {"name", "value"}, [](const Texts& texts, Sum& sum) {
        add_counter(texts[0], texts[kTypeText], texts[1], sum);
    }};

enum Depth { kOutside, kReply, kList, kItem, kField };

struct Stream {
    const Shape& shape;
    Sum& sum;
    Texts texts = {};
    int depth = kOutside;
    bool isGood = false; // no error
    bool isInList = false;
    std::string* text = nullptr; // of the field that is open

    // `attribute` returns the value of an attribute, or null.
    template <typename Attribute>
    void open(const char* name, Attribute attribute) {
        depth++;
        if (depth == kList) {
            isInList = isGood && strcmp(name, shape.list) == 0;
            isGood =
                isGood || (strcmp(name, "result") == 0 && strcmp(attribute("value"), "0") == 0);
        } else if (depth == kItem) {
            for (std::string& field : texts) {
                field.clear();
            }
        } else if (depth == kField && isInList) {
            open_field(name, attribute);
        }
    }

    template <typename Attribute>
    void open_field(const char* name, Attribute attribute) {
        for (size_t i = 0; i < shape.fields.size() && shape.fields[i] != nullptr; i++) {
            if (strcmp(shape.fields[i], name) == 0) {
                text = &texts[i];
            }
        }
        if (&shape == &kCounters && text == &texts[kTypeText - 1]) {
            texts[kTypeText] = attribute("type");
        }
    }

    void add(const char* bytes, size_t count) {
        if (text != nullptr) {
            text->append(bytes, count);
        }
    }

    void close() {
        text = nullptr;
        if (depth == kItem && isInList) {
            shape.store(texts, sum);
        }
        depth--;
    }
};

template <const Shape& shape>
void stream_expat(char* text, size_t size, Sum& sum) {
    Stream stream = {shape, sum};
    XML_Parser parser = XML_ParserCreate("UTF-8");
    XML_SetUserData(parser, &stream);
    XML_SetElementHandler(
        parser,
        [](void* data, const char* name, const char** attributes) {
            static_cast<Stream*>(data)->open(name, [&](const char* wanted) {
                const char** at = attributes;
                while (*at != nullptr && strcmp(*at, wanted) != 0) {
                    at += 2;
                }
                return *at != nullptr ? at[1] : "";
            });
        },
        [](void* data, const char* /*name*/) { static_cast<Stream*>(data)->close(); });
    XML_SetCharacterDataHandler(parser, [](void* data, const char* bytes, int count) {
        static_cast<Stream*>(data)->add(bytes, static_cast<size_t>(count));
    });
    XML_Parse(parser, text, static_cast<int>(size), 1);
    XML_ParserFree(parser);
}

const char* plain(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

template <const Shape& shape>
void stream_libxml2(char* text, size_t size, Sum& sum) {
    Stream stream = {shape, sum};
    xmlTextReader* reader = xmlReaderForMemory(text, static_cast<int>(size), nullptr, nullptr, 0);
    const auto attribute = [&](const char* name) {
        const bool hasIt =
            xmlTextReaderMoveToAttribute(reader, reinterpret_cast<const xmlChar*>(name)) == 1;
        const char* value = hasIt ? plain(xmlTextReaderConstValue(reader)) : "";
        xmlTextReaderMoveToElement(reader);
        return value;
    };
    while (xmlTextReaderRead(reader) == 1) {
        switch (xmlTextReaderNodeType(reader)) {
        case XML_READER_TYPE_ELEMENT:
            stream.open(plain(xmlTextReaderConstName(reader)), attribute);
            if (xmlTextReaderIsEmptyElement(reader) == 1) {
                stream.close();
            }
            break;
        case XML_READER_TYPE_TEXT:
        case XML_READER_TYPE_CDATA: {
            const char* value = plain(xmlTextReaderConstValue(reader));
            stream.add(value, strlen(value));
            break;
        }
        case XML_READER_TYPE_END_ELEMENT:
            stream.close();
            break;
        default:
            break;
        }
    }
    xmlFreeTextReader(reader);
}

template <typename Tree>
constexpr Reader tree_reader(const char* name) {
    return {name, parse_volumes<Tree>, parse_connections<Tree>, parse_counters<Tree>};
}

} // namespace

const Reader kPugixml = tree_reader<PugixmlTree>("pugixml in place");
const Reader kRapidxml = tree_reader<RapidxmlTree>("rapidxml");
const Reader kExpat = {"expat", stream_expat<kVolumes>, stream_expat<kConnections>,
                       stream_expat<kCounters>};
const Reader kLibxml2 = {"libxml2's reader", stream_libxml2<kVolumes>, stream_libxml2<kConnections>,
                         stream_libxml2<kCounters>};

} // namespace zrp::bench
