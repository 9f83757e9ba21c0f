// Lists of station numbers in requests.
#pragma once

#include <set>

#include <pugixml.hpp>

#include "tools/zrpsim/world/handler.h"

namespace zrp::sim {

// Reads the stations in all elements of that name inside the node: one or several in each,
// separated by blanks or commas. Refuses anything that is not a number.
Outcome read_stations(pugi::xml_node node, const char* tag, std::set<int>& stations);

// Refuses a station without a connection.
Outcome check_stations(World& world, const std::set<int>& stations);

} // namespace zrp::sim
