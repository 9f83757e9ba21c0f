// Asio without its old names.
#pragma once

#include <asio.hpp>
