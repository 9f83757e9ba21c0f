// Lists of station numbers in requests.
#pragma once

#include <set>

#include <pugixml.hpp>

#include "tools/zrpsim/world/handler.h"

namespace zrp::sim {

// Reads the stations that elements of that name inside the node list: one or several in each, with
// blanks or commas between them. Refuses what is no number.
Outcome read_stations(pugi::xml_node node, const char* tag, std::set<int>& stations);

// Refuses when one of the stations has no connection.
Outcome check_stations(World& world, const std::set<int>& stations);

} // namespace zrp::sim
