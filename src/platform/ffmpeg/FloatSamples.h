#pragma once

#include <vector>

struct AVFrame;

namespace tallyrig {

/// Appends a decoded frame to `samples` as interleaved floats, full scale at 1. False, and nothing appended, for a
/// sample format that is not known.
bool appendFloatSamples(const AVFrame& frame, std::vector<float>& samples);

}  // namespace tallyrig
