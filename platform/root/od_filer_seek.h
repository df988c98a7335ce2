// What a position in a stream counts from.

#pragma once

#include <cstdint>

namespace OdDb {

/// What an offset counts from.
enum FilerSeekType : std::uint8_t
{
    kSeekFromStart = 0,
    kSeekFromCurrent = 1,
    kSeekFromEnd = 2
};

}  // namespace OdDb
