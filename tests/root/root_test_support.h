// Helpers of the root tests: how strings print, and which result an operation throws.

#pragma once

#include "root/od_error.h"
#include "root/od_string.h"

#include <ostream>
#include <string>
#include <utility>

inline void PrintTo(OdString const& text, std::ostream* out)
{
    std::string bytes;
    text.appendUtf8To(bytes);
    *out << '"' << bytes << '"';
}

/// The code of the OdError that a call throws, `kOdOk` if it throws none.
template <class Call>
OdResult thrownCode(Call&& call)
{
    try {
        std::forward<Call>(call)();
    } catch (OdError const& error) {
        return error.code();
    }
    return kOdOk;
}
