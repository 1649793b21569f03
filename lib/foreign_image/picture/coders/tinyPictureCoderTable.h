// SPDX-License-Identifier: MIT
// Creates a table of coders for one Ops. Included by the tinyPictureCoders*.cpp files only.
#pragma once

#include "tinyPictureDecode.h"
#include "tinyPictureEncode.h"

template <class Ops>
constexpr CoderTable coderTable(const char* name) {
    using D1 = LineDecoder<Ops, 1>;
    using D2 = LineDecoder<Ops, 2>;
    using D3 = LineDecoder<Ops, 3>;
    using D4 = LineDecoder<Ops, 4>;
    using E1 = LineEncoder<Ops, 1>;
    using E2 = LineEncoder<Ops, 2>;
    using E3 = LineEncoder<Ops, 3>;
    using E4 = LineEncoder<Ops, 4>;
    return {
        name,
        {{D1::channelsReadRaw, D2::channelsReadRaw, D3::channelsReadRaw, D4::channelsReadRaw},
         {D1::channelsReadPure, D2::channelsReadPure, D3::channelsReadPure, D4::channelsReadPure},
         {D1::channelsReadMixed, D2::channelsReadMixed, D3::channelsReadMixed,
          D4::channelsReadMixed}},
        {{E1::channelsWriteRaw, E2::channelsWriteRaw, E3::channelsWriteRaw, E4::channelsWriteRaw},
         {E1::channelsWritePure, E2::channelsWritePure, E3::channelsWritePure,
          E4::channelsWritePure},
         {E1::channelsWriteMixed, E2::channelsWriteMixed, E3::channelsWriteMixed,
          E4::channelsWriteMixed}},
    };
}

extern const CoderTable kPortableCoders;
extern const CoderTable kSsse3Coders;  ///< on x86 only
extern const CoderTable kAvx2Coders;   ///< on x86 only
extern const CoderTable kAvx512Coders; ///< on x86 only
