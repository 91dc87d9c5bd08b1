// A generated test picture for `qtmovie encode --pattern`: colour bars that
// drift across the frame over a soft moving gradient, with the frame number
// printed large in the middle so a viewer can tell frames apart at a glance.
#pragma once

#include <vector>

namespace qtmovie {

// width x height pixels of four floats B, G, R, A (the writer's host order), rows top first.
std::vector<float> patternFrame(int width, int height, int frame);

// `frames` samples per channel of a 1 kHz stereo tone at `rate`, interleaved, at half scale.
std::vector<float> patternTone(int rate, long long frames);

}  // namespace qtmovie
