// The exception of the module's own operations.

#pragma once

#include "root/od_error.h"
#include "root/od_string.h"

/// An operation of the module that could not do what was asked, told by its text.
class ZemException : public OdError
{
public:
    explicit ZemException(OdString const& message);
    ~ZemException() override;
};
