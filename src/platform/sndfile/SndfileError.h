#pragma once

#include <system_error>

namespace tallyrig {

/// An error number of libsndfile, with the library's text.
std::error_code sndfileError(int number);

}  // namespace tallyrig
