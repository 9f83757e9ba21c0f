// The C++ face of the library: everything that an administrator does, without a request text.
//
//     const zrp::client::Session session;
//     const auto volumes = zrp::client::ListVolumes();
//     if (!volumes) {
//         std::cerr << Describe(volumes) << '\n';
//     }
//     for (const zrp::client::Volume& volume : volumes.value) {
//         std::cout << volume.number << ' ' << volume.name << '\n';
//     }
//
//  1. Names: List... gives a whole list, ForEach... gives it item by item, Get... one thing; any
//     other verb changes something and says what. A function that does what one of zrp does has its
//     name; their arguments differ.
//  2. Every function but those of session.h returns an Answer: a value, or a code and the server's
//     words. A list that breaks off is a failure, and gives no value; only ListFilters passes over
//     a filter without a name or a value.
//  3. Values own what they hold, can be copied, and outlive the session. Records of the library
//     that do so too are given as they are.
//  4. Names and texts need no terminator; one with a NUL inside is refused with kInvalid. An empty
//     text where one may be left out counts as left out.
//  5. Texts have the form in which the server writes them, with entities such as &amp;, and are
//     sent back in it. Unescaped makes them readable, Escaped makes a typed text sendable.
//  6. A callback returns nothing, or false to stop, which is no failure. It may ask the server and
//     may throw.
//  7. Nothing else throws but std::bad_alloc, from strings and vectors. In ListStorageVolumes and
//     ListFilters, running out of memory ends the program instead.
//  8. Any thread may ask while the session lives. Nothing is logged.
#pragma once
#include "cplusplus.h"

#include "client/answer.h"
#include "client/connections.h"
#include "client/diagnostics.h"
#include "client/files.h"
#include "client/server.h"
#include "client/session.h"
#include "client/settings.h"
#include "client/statistics.h"
#include "client/storage.h"
#include "client/volumes.h"
