// The packed form in which extended data lies in an object and in its stream.

#pragma once

#include "root/od_res_buf.h"

#include <cstdint>
#include <span>
#include <vector>

using OdResBufPtr = OdSmartPtr<OdResBuf>;

/// Packs the records from `first` up to the next 1001 record or the end, the first one excluded.
///
/// Each record is its group code (16 bits, little-endian) and its value: text as a 32-bit length and
/// UTF-8, points as three doubles, reals as 8 bytes, integers as 2 or 4, handles as 8, binary data as
/// a 32-bit length and the bytes.
/// \throws OdError (invalid input) for a group code that extended data has not.
std::vector<std::uint8_t> odDbPackXData(OdResBuf const* first);

/// Unpacks a chain and appends it behind `head`.
/// \throws OdError (bad stream) for bytes that are no packed chain.
void odDbUnpackXData(std::span<std::uint8_t const> bytes, OdResBufPtr head);
