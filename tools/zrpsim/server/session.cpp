#include "tools/zrpsim/server/session.h"

#include <cinttypes>
#include <cstdio>
#include <linux/sockios.h>
#include <sys/ioctl.h>

#include "common/transport.h"

namespace zrp::sim {
namespace {

constexpr uint32_t kLongestRequest = 1U << 20U;

// How to send a text: in pieces of so many bytes (0: all at once) with a pause after each, which
// lasts until the client has taken the piece if it has to find the pieces one by one.
struct Pace {
    size_t piece;
    std::chrono::microseconds pause;
    bool oneByOne = false;
};

constexpr std::chrono::microseconds kBetweenHeaderPieces{2000};
constexpr std::chrono::microseconds kBetweenBodyPieces{300}; // a body has thousands of them

struct Session {
    Server& server;
    Peer peer;
    LocalSocket::socket socket;
    asio::steady_timer timer;
    RequestHeader header{};
    std::string request;
    Delivery delivery{};
};

// The connection is open as long as one of these exists.
using SessionPointer = std::shared_ptr<Session>;

bool has_untaken_bytes(Session& session) {
    int count = 0;
    return ioctl(session.socket.native_handle(), SIOCOUTQ, &count) == 0 && count > 0;
}

template <typename Then>
void pause(const SessionPointer& session, Pace pace, Then then) {
    session->timer.expires_after(pace.pause);
    session->timer.async_wait([=](std::error_code) {
        if (pace.oneByOne && has_untaken_bytes(*session)) {
            pause(session, pace, then);
        } else {
            then();
        }
    });
}

void send_pieces(const SessionPointer& session, const std::string& text, size_t from, Pace pace,
                 void (*then)(const SessionPointer&)) {
    if (from >= text.size()) {
        then(session);
        return;
    }
    const size_t count = pace.piece == 0 ? text.size() : std::min(pace.piece, text.size() - from);
    asio::async_write(session->socket, asio::buffer(text.data() + from, count),
                      [=, &text](std::error_code error, size_t sent) {
                          if (error) {
                              return;
                          }
                          pause(session, pace, [=, &text] {
                              send_pieces(session, text, from + sent, pace, then);
                          });
                      });
}

void close_session(const SessionPointer& session) {
    std::error_code ignored;
    session->socket.shutdown(LocalSocket::socket::shutdown_both, ignored);
}

void send_body(const SessionPointer& session) {
    send_pieces(session, session->delivery.body, 0,
                {session->delivery.bodyPiece, kBetweenBodyPieces}, close_session);
}

void send_whole(const SessionPointer& session) {
    const std::array<asio::const_buffer, 2> parts{asio::buffer(session->delivery.header),
                                                  asio::buffer(session->delivery.body)};
    asio::async_write(session->socket, parts,
                      [session](std::error_code, size_t) { close_session(session); });
}

// Waits for the client to give up.
void stay_silent(const SessionPointer& session) {
    session->request.resize(64);
    session->socket.async_read_some(asio::buffer(session->request),
                                    [session](std::error_code error, size_t) {
                                        if (!error) {
                                            stay_silent(session);
                                        }
                                    });
}

void deliver(const SessionPointer& session) {
    const Delivery& delivery = session->delivery;
    if (delivery.silent) {
        stay_silent(session);
    } else if (delivery.headerPiece != 0 || delivery.bodyPiece != 0) {
        send_pieces(session, delivery.header, 0, {delivery.headerPiece, kBetweenHeaderPieces, true},
                    send_body);
    } else {
        send_whole(session);
    }
}

void log_request(const Session& session, const std::string& command, const FaultKind* fault) {
    std::fprintf(stderr, "%s 0x%08" PRIx32 " %" PRIu32 " %s%s%s\n",
                 std::string(short_name(session.peer)).c_str(), session.header.requestNumber,
                 session.header.length, command.c_str(), fault != nullptr ? " fault=" : "",
                 fault != nullptr ? fault->name : "");
}

void answer(const SessionPointer& session) {
    Server& server = session->server;
    server.world.upTimeMs = up_time_ms(server.clock);
    Answer reply = answer_request(server.world, session->peer, session->header.requestNumber,
                                  session->request);
    session->delivery = make_delivery(session->header.requestNumber, std::move(reply.text));
    const FaultKind* fault = choose_fault(server.faults, session->peer, reply.command);
    if (fault != nullptr) {
        fault->damage(session->delivery);
    }
    if (server.verbose) {
        log_request(*session, reply.command, fault);
    }
    deliver(session);
}

void read_request(const SessionPointer& session) {
    if (session->header.magic != kMagic || session->header.length > kLongestRequest) {
        if (session->server.verbose) {
            log_request(*session, "? not a request", nullptr);
        }
        return;
    }
    session->request.resize(session->header.length);
    asio::async_read(session->socket, asio::buffer(session->request),
                     [session](std::error_code error, size_t) {
                         if (!error) {
                             answer(session);
                         }
                     });
}

} // namespace

void start_session(Server& server, Peer peer, LocalSocket::socket socket) {
    auto session = std::make_shared<Session>(
        Session{server, peer, std::move(socket), asio::steady_timer(server.io), {}, {}, {}});
    asio::async_read(session->socket, asio::buffer(&session->header, sizeof session->header),
                     [session](std::error_code error, size_t) {
                         if (!error) {
                             read_request(session);
                         }
                     });
}

} // namespace zrp::sim
