// What the headers beside it share: one exchange, and one walk over a list. Not for programs.
#pragma once
#include "../cplusplus.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "../heap_text.h"
#include "../result.h"
#include "../tags.h"
#include "../transport.h"
#include "../xml_reader.h"
#include "answer.h"

namespace zrp::client::detail {

// A view as the text with a NUL at its end that the library takes. One with a NUL inside becomes a
// text that no request may hold, so that every builder refuses it.
class Text {
public:
    explicit Text(std::string_view view)
        : text_(view.find('\0') == std::string_view::npos ? view : std::string_view("\1")) {}

    operator const char*() const {
        return text_.c_str();
    }

    [[nodiscard]] const char* OrNull() const {
        return text_.empty() ? nullptr : text_.c_str();
    }

private:
    std::string text_;
};

inline Answer<> Done(int code) {
    return {code, {}, {}};
}

template <typename T>
Answer<T> Failure(int code, std::string error = {}) {
    return {code, std::move(error), {}};
}

template <typename T, typename Other>
Answer<T> Failure(const Answer<Other>& other) {
    return Failure<T>(other.code, other.error);
}

// An operation of the library with these arguments before the error text and the log.
template <typename Operation, typename... Arguments>
Answer<> Run(Operation operation, const Arguments&... arguments) {
    ErrorText errorText = "";
    const int rc = operation(arguments..., &errorText, nullptr);
    return rc == kOk ? Answer<>{} : Failure<Nothing>(rc, errorText);
}

// The same for one that fills a record.
template <typename T, typename Operation, typename... Arguments>
Answer<T> RunForRecord(Operation operation, const Arguments&... arguments) {
    T record = {};
    const Answer<> done = Run(operation, arguments..., &record);
    return done ? Answer<T>{kOk, {}, std::move(record)} : Failure<T>(done);
}

// The same for one that gives a name.
template <size_t Size, typename Operation, typename... Arguments>
Answer<std::string> RunForName(Operation operation, const Arguments&... arguments) {
    char name[Size] = {};
    ErrorText errorText = "";
    const int rc = operation(arguments..., name, &errorText, nullptr);
    return rc == kOk ? Answer<std::string>{kOk, {}, name} : Failure<std::string>(rc, errorText);
}

struct Daemon {
    const char* socketName; // null for the one of the session
    uint32_t requestNumber;
    const char* envelope; // the element around each reply
};

inline constexpr Daemon kServer = {nullptr, kMainDaemonRequest, tag::zrpConsoleReply};

// A builder of the library with the arguments before the length.
template <typename Builder, typename... Arguments>
auto Request(Builder builder, const Arguments&... arguments) {
    return [=](uint32_t* length) { return builder(arguments..., length); };
}

// Sends a request and takes a reply that reports no error.
template <typename Build>
Answer<Reply> Exchange(const Daemon& daemon, Build build) {
    uint32_t length = 0;
    const HeapText request(build(&length));
    if (request == nullptr) {
        return Failure<Reply>(errno == EINVAL ? kInvalid : kNoMemory);
    }
    uint64_t replyLength = 0;
    char* text = nullptr;
    int rc = IPCServRequestEx(daemon.socketName, daemon.requestNumber, length, request.get(),
                              &replyLength, &text);
    Reply reply = {HeapText(text), static_cast<int>(replyLength)};
    if (rc == kOk && replyLength > INT_MAX) {
        rc = kTooLong;
    }
    ErrorText errorText = "";
    if (rc == kOk) {
        rc = CheckForError(static_cast<uint32_t>(replyLength), text, &errorText);
    }
    return rc == kOk ? Answer<Reply>{kOk, {}, std::move(reply)} : Failure<Reply>(rc, errorText);
}

// A request whose reply has one value: int scan(char* reply, int length, T* value).
template <typename T, typename Build, typename Scan>
Answer<T> Ask(Build build, Scan scan, const Daemon& daemon = kServer) {
    const Answer<Reply> reply = Exchange(daemon, build);
    if (!reply) {
        return Failure<T>(reply);
    }
    T value = {};
    const int rc = scan(reply.value.text.get(), reply.value.length, &value);
    return rc == kOk ? Answer<T>{kOk, {}, std::move(value)} : Failure<T>(rc);
}

// Where a reply has its items: each is an element of that name inside the command's.
struct List {
    const char* command;
    const char* item;
    Daemon daemon = kServer;
};

// Whether an element of that name begins in the text, be it whole or not.
inline bool HasElement(std::string_view text, std::string_view name) {
    constexpr size_t kNone = std::string_view::npos;
    std::string opening = "<"; // g++ 12 warns of a sum that begins with a literal
    opening += name;
    for (size_t at = text.find(opening); at != kNone; at = text.find(opening, at + 1)) {
        const std::string_view next = text.substr(at + opening.size(), 1);
        if (next.find_first_of(" \t\r\n/>") != kNone) {
            return true;
        }
    }
    return false;
}

// Whether the command answered, and its answer is not cut.
inline bool IsWhole(const List& list, const Reply& reply) {
    char* start = reply.text.get();
    XmlElement outer;
    XmlElement command;
    return FindElement(list.daemon.envelope, start, start + reply.length, &outer) == kOk &&
           outer.contentStart != nullptr &&
           FindElement(list.command, outer.contentStart, outer.contentEnd + 1, &command) == kOk;
}

// A scanner has the same code for the end of a list and for an item that it cannot read. It was the
// end when no further item begins.
inline int EndOfList(const List& list, const Reply& reply, int offset) {
    const char* start = reply.text.get();
    return HasElement({start + offset, start + reply.length}, list.item) ? kInvalid : kOk;
}

// Gives each item to visit, which returns false to stop. Returns a code. The scanner is
// int scan(char* reply, int length, int* offset, Item* item).
template <typename Item, typename Scan, typename Visit>
int VisitItems(const List& list, const Reply& reply, Scan scan, Visit visit, bool* stopped) {
    int next = 0;
    if (!IsWhole(list, reply)) {
        return kInvalid;
    }
    while (!*stopped) {
        const int offset = next;
        Item item = {};
        const int rc = scan(reply.text.get(), reply.length, &next, &item);
        if (rc == kInvalid || rc == kRange || rc == kNotFound) {
            return EndOfList(list, reply, offset);
        }
        if (rc != kOk) {
            return rc;
        }
        *stopped = !visit(item);
    }
    return kOk;
}

inline constexpr int kLastPage = 0; // no page but the first begins there

// A list in pages: char* build(int index, uint32_t* length), and
// int next(const Reply& reply, int* index), which sets the index of the next page if there is one.
template <typename Item, typename Build, typename Scan, typename Visit, typename Next>
Answer<> WalkPages(const List& list, Build build, Scan scan, Visit visit, Next next) {
    int index = 0;
    for (bool stopped = false; !stopped;) {
        const Answer<Reply> page =
            Exchange(list.daemon, [&](uint32_t* length) { return build(index, length); });
        if (!page) {
            return Failure<Nothing>(page);
        }
        int following = kLastPage;
        int rc = VisitItems<Item>(list, page.value, scan, visit, &stopped);
        if (rc == kOk && !stopped) {
            rc = next(page.value, &following);
        }
        if (rc == kOk && following != kLastPage && following <= index) {
            rc = kRange; // the list would never end
        }
        if (rc != kOk || following == kLastPage) {
            return Done(rc);
        }
        index = following;
    }
    return {};
}

// A program's callback returns nothing, or false to stop.
template <typename Callback, typename Item>
bool GoesOn(Callback& callback, const Item& item) {
    if constexpr (std::is_void_v<std::invoke_result_t<Callback&, const Item&>>) {
        callback(item);
        return true;
    } else {
        return callback(item);
    }
}

// What a ForEach function gives, in one vector.
template <typename Value, typename ForEach>
Answer<std::vector<Value>> Collect(ForEach forEach) {
    Answer<std::vector<Value>> all;
    const Answer<> end = forEach([&](const Value& value) { all.value.push_back(value); });
    return end ? std::move(all) : Failure<std::vector<Value>>(end);
}

// A list that comes in one reply: Value make(const Item& item).
template <typename Value, typename Item, typename Build, typename Scan, typename Make>
Answer<std::vector<Value>> ListItems(const List& list, Build build, Scan scan, Make make) {
    const Answer<Reply> reply = Exchange(list.daemon, build);
    if (!reply) {
        return Failure<std::vector<Value>>(reply);
    }
    Answer<std::vector<Value>> all;
    bool stopped = false;
    const auto append = [&](const Item& item) {
        all.value.push_back(make(item));
        return true;
    };
    const int rc = VisitItems<Item>(list, reply.value, scan, append, &stopped);
    return rc == kOk ? std::move(all) : Failure<std::vector<Value>>(rc);
}

// The same with the library's records as they are.
template <typename Item, typename Build, typename Scan>
Answer<std::vector<Item>> ListRecords(const List& list, Build build, Scan scan) {
    return ListItems<Item, Item>(list, build, scan, [](const Item& item) { return item; });
}

// What an operation of the library gives to a callback, which comes before its error text: Value
// make(const Item& item). No exception may pass through the library, so that it is kept meanwhile.
template <typename Item, typename Operation, typename Make, typename... Arguments>
auto RunForItems(Operation operation, Make make, const Arguments&... arguments) {
    using Value = std::invoke_result_t<Make, const Item&>;
    struct Sink {
        Make& make;
        std::vector<Value> values;
        std::exception_ptr thrown;
    };
    constexpr auto kAppend = [](void* context, const Item& item) noexcept {
        auto* sink = static_cast<Sink*>(context);
        try {
            sink->values.push_back(sink->make(item));
            return int{kOk};
        } catch (...) {
            sink->thrown = std::current_exception();
            return int{kNoMemory};
        }
    };
    Sink sink = {make, {}, nullptr};
    const Answer<> done =
        Run(operation, arguments..., static_cast<int (*)(void*, const Item&)>(kAppend), &sink);
    if (sink.thrown != nullptr) {
        std::rethrow_exception(sink.thrown);
    }
    return done ? Answer<std::vector<Value>>{kOk, {}, std::move(sink.values)}
                : Failure<std::vector<Value>>(done);
}

// The same with the library's records as they are.
template <typename Item, typename Operation, typename... Arguments>
auto RunForRecords(Operation operation, const Arguments&... arguments) {
    return RunForItems<Item>(
        operation, [](const Item& item) { return item; }, arguments...);
}

// The same for texts.
template <typename CharArray, typename Operation, typename... Arguments>
auto RunForTexts(Operation operation, const Arguments&... arguments) {
    return RunForItems<CharArray>(
        operation, [](const CharArray& text) { return std::string(text); }, arguments...);
}

} // namespace zrp::client::detail
