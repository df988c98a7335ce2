#include "root/od_error.h"

#include "root/od_rx_class.h"
#include "root/od_string.h"

namespace {

OdString className(OdRxClass const* cls)
{
    return cls != nullptr ? cls->name() : OdString(L"<no class>");
}

}  // namespace

OdError::OdError(OdResult result) : OdError(result, OdString(odResultText(result))) {}

OdError::OdError(OdString const& message) : OdError(kOdMessage, message) {}

OdError::OdError(OdResult result, OdString const& message)
    : m_code(result), m_text(std::make_shared<OdString const>(message))
{
    // Both forms are made here, since what() must not fail.
    (void)static_cast<char const*>(*m_text);
}

OdError::OdError(OdError const& other) noexcept = default;
OdError& OdError::operator=(OdError const& other) noexcept = default;
OdError::~OdError() = default;

OdString OdError::description() const
{
    return *m_text;
}

char const* OdError::what() const noexcept
{
    return static_cast<char const*>(*m_text);
}

OdError_InvalidIndex::OdError_InvalidIndex() : OdError(kOdInvalidIndex) {}
OdError_InvalidIndex::~OdError_InvalidIndex() = default;

OdError_NotThatKindOfClass::OdError_NotThatKindOfClass(OdRxClass const* from, OdRxClass const* to)
    : OdError(kOdNotThatKindOfClass, className(from) + L" is not a " + className(to)), m_from(from),
      m_to(to)
{
}

OdError_NotThatKindOfClass::~OdError_NotThatKindOfClass() = default;
