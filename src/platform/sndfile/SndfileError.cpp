#include "platform/sndfile/SndfileError.h"

#include <sndfile.h>

#include <string>

namespace tallyrig {
namespace {

class SndfileCategory final : public std::error_category {
 public:
  const char* name() const noexcept override { return "sndfile"; }
  std::string message(int number) const override { return sf_error_number(number); }
};

}  // namespace

std::error_code sndfileError(int number) {
  static const SndfileCategory kCategory;
  return {number, kCategory};
}

}  // namespace tallyrig
