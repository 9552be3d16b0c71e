#pragma once

#include <string>

namespace cci {

/// What a command writes to stdout.
struct Answer {
  std::string data;
  std::string json;  // instead of the data, with --json
};

}  // namespace cci
