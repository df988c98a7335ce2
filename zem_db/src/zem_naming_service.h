// Names that are unique among those of a list: a stem, a delimiter and a number.

#pragma once

#include "root/od_string.h"

#include <map>

/// Knows the names of a list and makes others unique among them.
///
/// A name is a stem with or without a suffix: the delimiter and up to six digits. What is known of a
/// stem is the highest number seen with it. Names are collected when they are first needed; from then
/// on new ones have to be registered, or what is known has to be dropped.
class ZemNamingService
{
public:
    ZemNamingService() = default;
    ZemNamingService(ZemNamingService const&) = delete;
    ZemNamingService& operator=(ZemNamingService const&) = delete;
    virtual ~ZemNamingService();

    /// \name What is known
    /// @{
    /// Collects the names, unless they are known.
    void buildCache();
    /// Drops what is known.
    void invalidateCache();
    /// Takes a name in.
    void cacheName(OdString const& name);
    /// Takes a name in if the names are known; otherwise it is collected with the others.
    void registerName(OdString const& name);
    /// @}

    /// \name Names
    /// @{
    /// Gives a name a number that is above all of its stem, if one that is as high is known. A name
    /// whose stem is unknown gets the start value, or stays if that is 0. The result isn't taken in.
    void makeNameUnique(OdString& name);
    /// Whether a number as high as that of a name is known of its stem.
    bool checkNameCollision(OdString const& name);
    /// Cuts the suffix off a name.
    ///
    /// \param suffix  Receives its number; 0 for a name without a suffix, which stays as it is.
    static void trimSuffix(OdString& name, unsigned& suffix, wchar_t delimiter);
    /// @}

    /// \name Form
    /// @{
    /// What stands between stem and number, "_" at first; spelled as it is known.
    void changeDelimeter(wchar_t const& delimiter) noexcept { m_delimiter = delimiter; }
    /// The least number that is given, 0 at first.
    void changeStartValue(unsigned startValue) noexcept { m_startValue = startValue; }
    /// @}

protected:
    /// Calls `cacheName` for every name of the list.
    virtual void fillCacheImpl() = 0;

private:
    using Cache = std::map<OdString, unsigned>;

    Cache::iterator mapPrefix(OdString const& name, bool insert);

    bool m_cacheValid = false;
    Cache m_cache;  ///< stems with the highest numbers seen
    Cache::iterator m_lastFound = m_cache.end();
    wchar_t m_delimiter = L'_';
    unsigned m_startValue = 0;
};
