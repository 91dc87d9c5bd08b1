// How wide a step the engine's own packers may take: the widest this processor runs, chosen
// once, or a narrower one named by the caller (each wider step must give the bytes of the
// narrower ones, which the codec tests check on every level the processor has).
#pragma once

namespace vqt::codecs {

enum class VectorLevel { scalar, sse2, avx2, avx512 };

// The widest level this processor runs (AVX-512 needs F, BW, VL and DQ).
VectorLevel bestVectorLevel();

}  // namespace vqt::codecs
