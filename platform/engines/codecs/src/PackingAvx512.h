// The widest steps of the packers from decoded planar Y'CbCr into exchange rows through the
// colour transform: 16 pixels ('r4fl') or 16 pairs ('2vuy') a step on processors with
// AVX-512 F, BW and VL; call only where bestVectorLevel() is avx512. Each does the single-
// precision operations of the narrower steps in the same order (no fused multiply-add), so
// the same floats and bytes; each returns how many pixels or pairs it did, from the first.
#pragma once

#include <cstdint>

#include "ColourTransform.h"

namespace vqt::codecs {

// Pixels of one 'r4fl' row (A, Y', Cb, Cr floats) from samples of 8 or 16 bits; chroma of
// full or half width (`chromaShiftX` 0 or 1; otherwise nothing is done), `alpha` null for
// opaque.
int packTransformedPixelsAvx512(const std::uint8_t* luma, const std::uint8_t* cb, const std::uint8_t* cr,
                                const std::uint8_t* alpha, float alphaScale, int chromaShiftX, float unit,
                                const YCbCrTransform& t, std::uint8_t* row, int width);
int packTransformedPixelsAvx512(const std::uint16_t* luma, const std::uint16_t* cb, const std::uint16_t* cr,
                                const std::uint16_t* alpha, float alphaScale, int chromaShiftX, float unit,
                                const YCbCrTransform& t, std::uint8_t* row, int width);

// Pairs of one '2vuy' row from 8-bit luma and the pairs' chroma, rounded to bytes.
int packTransformedPairsAvx512(const std::uint8_t* luma, const std::uint8_t* cb, const std::uint8_t* cr, float unit,
                               const YCbCrTransform& t, std::uint8_t* out, int pairs);

}  // namespace vqt::codecs
