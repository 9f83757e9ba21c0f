#include "tools/zrpsim/faults.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "common/transport.h"

namespace zrp::sim {
namespace {

struct SocketRow {
    Peer peer;
    std::string_view shortName;
    const char* name;
};

constexpr std::array kSockets = std::to_array<SocketRow>({
    {Peer::kMainDaemon, "zrpserv", kMainDaemonSocket},
    {Peer::kStorageDaemon, "zrp2bks", kStorageDaemonSocket},
    {Peer::kManagement, "libomw2zrp", kManagementSocket},
});
static_assert(kSockets.size() == kPeers);

constexpr uint32_t kSwappedMagic = __builtin_bswap32(kMagic);
constexpr uint32_t kClientError = 5;

std::string header_text(uint32_t magic, size_t length, uint32_t status) {
    const ReplyHeader header{magic, static_cast<uint32_t>(length), status};
    std::string text(sizeof header, '\0');
    std::memcpy(text.data(), &header, sizeof header);
    return text;
}

// The listener looks for this fault; there is no reply to damage.
void refuse(Delivery&) {}

void hang(Delivery& delivery) {
    delivery.silent = true;
}

void drip(Delivery& delivery) {
    delivery.bodyPiece = 1;
}

void drip_header(Delivery& delivery) {
    delivery.headerPiece = 4;
}

void short_header(Delivery& delivery) {
    delivery.header.resize(8);
    delivery.body.clear();
}

void wrong_magic(Delivery& delivery) {
    delivery.header = header_text(0x12345678, delivery.body.size(), 0);
}

void swapped_magic(Delivery& delivery) {
    delivery.header = header_text(kSwappedMagic, delivery.body.size(), 0);
}

void client_error(Delivery& delivery) {
    delivery.header = header_text(kMagic, delivery.body.size(), kClientError);
}

void early_close(Delivery& delivery) {
    delivery.body.resize(delivery.body.size() / 2);
}

void zero_length(Delivery& delivery) {
    delivery.header = header_text(kMagic, 0, 0);
    delivery.body.clear();
}

void claim_length(Delivery& delivery, uint32_t length) {
    delivery.header = header_text(kMagic, length, 0);
    delivery.body.resize(std::min<size_t>(delivery.body.size(), 64));
}

void long_length(Delivery& delivery) {
    claim_length(delivery, 64U << 20U);
}

void huge_length(Delivery& delivery) {
    claim_length(delivery, UINT32_MAX);
}

// With many of the characters that a reader looks for: angle brackets, quotes, slashes and NULs.
void garbage(Delivery& delivery) {
    constexpr std::string_view kMarkup("<>/\"\0\xFF= ", 8);
    for (size_t i = 0; i < delivery.body.size(); i++) {
        const uint64_t draw = scatter(delivery.body.size(), delivery.requestNumber, i);
        delivery.body[i] =
            draw % 3 == 0 ? kMarkup[(draw >> 8U) % kMarkup.size()] : static_cast<char>(draw >> 16U);
    }
}

void replace_body(Delivery& delivery, std::string body) {
    delivery.body = std::move(body);
    delivery.header = header_text(kMagic, delivery.body.size(), 0);
}

void truncated(Delivery& delivery) {
    replace_body(delivery, delivery.body.substr(0, delivery.body.size() / 2));
}

void error_reply(Delivery& delivery) {
    replace_body(delivery, refusal_text(delivery.requestNumber, kClientError, "simulated failure"));
}

void unclosed(Delivery& delivery) {
    std::string body = delivery.body;
    const size_t from = body.find("</");
    const size_t to = body.find('>', from);
    if (to != std::string::npos) {
        body.erase(from, to - from + 1);
    }
    replace_body(delivery, std::move(body));
}

constexpr std::array kKinds = std::to_array<FaultKind>({
    {"refuse", "do not listen, so that connections are refused (the target must be a socket)",
     refuse},
    {"hang", "accept and read, but never answer", hang},
    {"drip", "send the body one byte at a time", drip},
    {"drip-header", "send the header in pieces", drip_header},
    {"short-header", "send 8 bytes of the header and close", short_header},
    {"wrong-magic", "begin the header with another number", wrong_magic},
    {"swapped-magic", "begin the header with the magic number in the other byte order",
     swapped_magic},
    {"status", "set the status in the header to 5", client_error},
    {"early-close", "announce the full length, send half and close", early_close},
    {"zero-length", "announce a length of 0 and send no body", zero_length},
    {"long-length", "announce 64 MiB, send a little and close", long_length},
    {"huge-length", "announce 4 GiB - 1, send a little and close", huge_length},
    {"garbage", "send random bytes of the right length", garbage},
    {"truncated", "cut the document in the middle, with a length to match", truncated},
    {"error-reply", "reply with an error element of code 5", error_reply},
    {"unclosed", "omit the first closing tag", unclosed},
});

bool is_socket(std::string_view name) {
    return std::any_of(kSockets.begin(), kSockets.end(),
                       [&](const SocketRow& row) { return row.shortName == name; });
}

} // namespace

Delivery make_delivery(uint32_t requestNumber, std::string body) {
    Delivery delivery{};
    delivery.requestNumber = requestNumber;
    delivery.header = header_text(kMagic, body.size(), 0);
    delivery.body = std::move(body);
    return delivery;
}

std::span<const FaultKind> fault_kinds() {
    return kKinds;
}

std::string_view short_name(Peer peer) {
    return kSockets.at(static_cast<size_t>(peer)).shortName;
}

const char* socket_name(Peer peer) {
    return kSockets.at(static_cast<size_t>(peer)).name;
}

std::string read_fault(std::string_view text, std::vector<Fault>& faults) {
    const size_t colon = text.find(':');
    const std::string_view name = text.substr(0, colon);
    const std::string target(colon == std::string_view::npos ? "" : text.substr(colon + 1));
    const auto* kind = std::find_if(kKinds.begin(), kKinds.end(),
                                    [&](const FaultKind& one) { return name == one.name; });
    if (kind == kKinds.end()) {
        return "no fault named \"" + std::string(name) + "\"";
    }
    const bool targetKnown = is_socket(target) || (kind->damage != refuse && is_command(target));
    if (!targetKnown && colon != std::string_view::npos) {
        return "no command or socket named \"" + target + "\" for " + std::string(name);
    }
    faults.push_back({kind, target});
    return {};
}

bool is_refused(std::span<const Fault> faults, Peer peer) {
    return std::any_of(faults.begin(), faults.end(), [&](const Fault& fault) {
        return fault.kind->damage == refuse &&
               (fault.target.empty() || fault.target == short_name(peer));
    });
}

const FaultKind* choose_fault(std::span<const Fault> faults, Peer peer, std::string_view command) {
    for (const Fault& fault : faults) {
        const bool matches =
            fault.target.empty() || fault.target == command || fault.target == short_name(peer);
        if (matches && fault.kind->damage != refuse) {
            return fault.kind;
        }
    }
    return nullptr;
}

} // namespace zrp::sim
