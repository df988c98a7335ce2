// The exceptions of the platform.

#pragma once

#include "root/od_result.h"

#include <exception>
#include <memory>

class OdRxClass;
class OdString;

/// A failure that the caller can't be expected to handle on the spot: a programming error, a wrong
/// class or corrupt input. Copies share their text. Immutable, so it may cross threads.
class OdError : public std::exception
{
public:
    /// With the text of `odResultText`.
    explicit OdError(OdResult result);
    /// With a text of its own; `code()` is then `kOdMessage`.
    explicit OdError(OdString const& message);
    /// With a number and a text of its own.
    OdError(OdResult result, OdString const& message);
    OdError(OdError const& other) noexcept;
    OdError& operator=(OdError const& other) noexcept;
    ~OdError() override;

    OdResult code() const noexcept { return m_code; }
    OdString description() const;
    /// The description in UTF-8; lives as long as any copy of this object.
    char const* what() const noexcept override;

private:
    OdResult m_code;
    std::shared_ptr<OdString const> m_text;
};

/// An index that is not below the length.
class OdError_InvalidIndex : public OdError
{
public:
    OdError_InvalidIndex();
    ~OdError_InvalidIndex() override;
};

/// An object of a class other than the one asked for.
class OdError_NotThatKindOfClass : public OdError
{
public:
    /// \param from  Class of the object; may be null if the class is not registered any more.
    /// \param to    Class asked for; may be null likewise.
    OdError_NotThatKindOfClass(OdRxClass const* from, OdRxClass const* to);
    ~OdError_NotThatKindOfClass() override;

    /// The two classes as given; they live only as long as they are registered.
    OdRxClass const* fromClass() const noexcept { return m_from; }
    OdRxClass const* toClass() const noexcept { return m_to; }

private:
    OdRxClass const* m_from;
    OdRxClass const* m_to;
};
