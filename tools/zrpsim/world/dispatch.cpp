#include "tools/zrpsim/world/dispatch.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include <pugixml.hpp>

#include "common/transport.h"
#include "tools/zrpsim/world/handler.h"
#include "tools/zrpsim/world/xml_text.h"

namespace zrp::sim {
namespace {

using Family = std::span<const CommandRow> (*)();

// The protocol of one request number on one socket.
struct Protocol {
    Peer peer;
    uint32_t requestNumber;
    const char* requestTag;
    const char* replyTag;
    bool diagnostic; // a binary message around the document, no command element in the reply
    std::array<Family, 11> families;
};

constexpr std::array kProtocols = std::to_array<Protocol>({
    {Peer::kMainDaemon,
     kMainDaemonRequest,
     "zrpConsoleRequest",
     "zrpConsoleReply",
     false,
     {status_commands, volume_commands, connection_commands, diagnostics_commands,
      parameter_commands, server_version_commands, volume_management_commands, shadow_commands,
      connection_management_commands, file_commands, server_management_commands}},
    {Peer::kStorageDaemon,
     kStorageDaemonRequest,
     "zrp2bks_request",
     "zrp2bks_reply",
     false,
     {storage_version_commands, storage_commands}},
    {Peer::kStorageDaemon,
     kStorageDiagnosticRequest,
     "zrp2bksDiagnosticRequest",
     "zrp2bksDiagnosticReply",
     true,
     {storage_diagnostics_commands}},
    {Peer::kManagement,
     kManagementRequest,
     "libomw2zrpRequestTag",
     "libomw2zrpReplyTag",
     false,
     {management_version_commands}},
});

const Protocol* find_protocol(uint32_t requestNumber) {
    const auto* at =
        std::find_if(kProtocols.begin(), kProtocols.end(), [&](const Protocol& protocol) {
            return protocol.requestNumber == requestNumber;
        });
    return at == kProtocols.end() ? nullptr : at;
}

const CommandRow* find_command(const Protocol& protocol, std::string_view name) {
    for (const Family family : protocol.families) {
        if (family == nullptr) {
            break;
        }
        for (const CommandRow& row : family()) {
            if (name == row.name) {
                return &row;
            }
        }
    }
    return nullptr;
}

// The storage daemon's diagnostic request is a message of three words, the document with its NUL,
// and unused bytes at the end.
Outcome unwrap(std::string_view& request) {
    constexpr size_t kWords = 12;
    constexpr size_t kAround = 32;
    if (request.size() < kAround) {
        return {kBadDocument, "message shorter than its frame"};
    }
    std::array<uint32_t, 3> words{};
    std::memcpy(words.data(), request.data(), kWords);
    const size_t length = request.size() - kAround;
    if (words[0] != 24 || words[1] != 1) {
        return {kBadDocument, "unknown kind of message"};
    }
    if (words[2] != length + 1) {
        return {kBadDocument, "length of the document is wrong"};
    }
    if (request[kWords + length] != '\0') {
        return {kBadDocument, "document without an end"};
    }
    request = request.substr(kWords, length);
    return {};
}

// The opening tag of a numbered parameter has an index that its closing tag lacks. Replaces the
// index by blanks, so that the document becomes XML.
std::string without_indexes(std::string_view text) {
    std::string result(text);
    constexpr std::string_view kTag = "<parm";
    for (size_t at = result.find(kTag); at != std::string::npos; at = result.find(kTag, at)) {
        at += kTag.size();
        while (at < result.size() && result[at] >= '0' && result[at] <= '9') {
            result[at++] = ' ';
        }
    }
    return result;
}

Outcome parse(const Protocol& protocol, std::string_view request, pugi::xml_document& document) {
    if (protocol.diagnostic) {
        Outcome outcome = unwrap(request);
        if (outcome.code != 0) {
            return outcome;
        }
    }
    if (request.find('\0') != std::string_view::npos) {
        return {kBadDocument, "document with a NUL inside"};
    }
    const std::string text = protocol.diagnostic ? without_indexes(request) : std::string(request);
    const pugi::xml_parse_result result = document.load_buffer(text.data(), text.size());
    if (!result) {
        return {kBadDocument, std::string("malformed document: ") + result.description()};
    }
    if (document.document_element() != document.first_child() ||
        document.first_child().next_sibling()) {
        return {kBadDocument, "document with more than one root"};
    }
    return {};
}

bool is_listed(std::string_view list, std::string_view word) {
    while (!list.empty()) {
        const size_t end = std::min(list.find(' '), list.size());
        if (list.substr(0, end) == word) {
            return true;
        }
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return false;
}

// Returns the element of a node that must have exactly one.
pugi::xml_node only_child(pugi::xml_node node) {
    const pugi::xml_node child = node.first_child();
    return child.next_sibling() || child.type() != pugi::node_element ? pugi::xml_node() : child;
}

Outcome check_elements(const CommandRow& row, pugi::xml_node command) {
    const pugi::xml_node stranger = command.find_node([&](pugi::xml_node inner) {
        return inner.type() == pugi::node_element && !is_listed(row.elements, inner.name());
    });
    if (!stranger) {
        return {};
    }
    return {kBadRequest, std::string("element ") + stranger.name() + " is not known here"};
}

Outcome carry_out(World& world, const Protocol& protocol, std::string_view request,
                  std::string& command, std::string& out) {
    pugi::xml_document document;
    Outcome outcome = parse(protocol, request, document);
    if (outcome.code != 0) {
        return outcome;
    }
    const pugi::xml_node root = document.first_child();
    if (std::strcmp(root.name(), protocol.requestTag) != 0) {
        return {kBadRequest, std::string("no envelope named ") + root.name() + " on this socket"};
    }
    const pugi::xml_node node = only_child(root);
    if (!node) {
        return {kBadRequest, "not exactly one command in the envelope"};
    }
    command = node.name();
    const CommandRow* row = find_command(protocol, command);
    if (row == nullptr) {
        return {kUnknownCommand, "unknown command " + command};
    }
    outcome = check_elements(*row, node);
    if (outcome.code != 0) {
        return outcome;
    }
    if (!protocol.diagnostic) {
        open_element(out, command);
    }
    outcome = row->handler(world, node, out);
    if (!protocol.diagnostic) {
        close_element(out, command);
    }
    return outcome;
}

} // namespace

std::string refusal_text(uint32_t requestNumber, int code, std::string_view description) {
    const Protocol* protocol = find_protocol(requestNumber);
    const char* envelope = protocol != nullptr ? protocol->replyTag : kProtocols[0].replyTag;
    std::string text;
    open_element(text, envelope);
    text += "<result value=\"" + std::to_string(code) + "\">";
    text_element(text, "description", description);
    close_element(text, "result");
    close_element(text, envelope);
    return text;
}

Answer answer_request(World& world, Peer peer, uint32_t requestNumber, std::string_view request) {
    Answer answer{"?", {}};
    const Protocol* protocol = find_protocol(requestNumber);
    if (protocol == nullptr || protocol->peer != peer) {
        answer.text = refusal_text(requestNumber, kBadRequest, "request number is not served here");
        return answer;
    }
    open_element(answer.text, protocol->replyTag);
    Outcome outcome = carry_out(world, *protocol, request, answer.command, answer.text);
    close_element(answer.text, protocol->replyTag);
    if (outcome.code != 0) {
        answer.text = refusal_text(requestNumber, outcome.code, outcome.description);
    }
    return answer;
}

bool is_command(std::string_view name) {
    return std::any_of(kProtocols.begin(), kProtocols.end(), [&](const Protocol& protocol) {
        return find_command(protocol, name) != nullptr;
    });
}

} // namespace zrp::sim
