#include "zem_naming_service.h"

#include <algorithm>

ZemNamingService::~ZemNamingService() = default;

void ZemNamingService::buildCache()
{
    if (!m_cacheValid) {
        fillCacheImpl();
        m_cacheValid = true;
    }
}

void ZemNamingService::invalidateCache()
{
    m_cache.clear();
    m_lastFound = m_cache.end();
    m_cacheValid = false;
}

ZemNamingService::Cache::iterator ZemNamingService::mapPrefix(OdString const& name, bool insert)
{
    if (m_lastFound != m_cache.end() && m_lastFound->first == name) {
        return m_lastFound;
    }
    const Cache::iterator found =
        insert ? m_cache.try_emplace(name, m_startValue).first : m_cache.find(name);
    if (found != m_cache.end()) {
        m_lastFound = found;
    }
    return found;
}

void ZemNamingService::cacheName(OdString const& name)
{
    OdString stem = name;
    unsigned suffix = 0;
    trimSuffix(stem, suffix, m_delimiter);
    unsigned& highest = mapPrefix(stem, /*insert=*/true)->second;
    highest = std::max(highest, suffix);
}

void ZemNamingService::registerName(OdString const& name)
{
    if (m_cacheValid) {
        cacheName(name);
    }
}

void ZemNamingService::makeNameUnique(OdString& name)
{
    buildCache();
    OdString stem = name;
    unsigned suffix = 0;
    trimSuffix(stem, suffix, m_delimiter);
    suffix = std::max(suffix, m_startValue);
    const Cache::iterator known = mapPrefix(stem, /*insert=*/false);
    unsigned next = m_startValue;
    if (known != m_cache.end()) {
        if (known->second < suffix) {
            return;
        }
        next = known->second + 1;
    }
    if (next != 0) {
        name.format(L"%ls%lc%u", stem.c_str(), static_cast<std::wint_t>(m_delimiter), next);
    }
}

bool ZemNamingService::checkNameCollision(OdString const& name)
{
    buildCache();
    OdString stem = name;
    unsigned suffix = 0;
    trimSuffix(stem, suffix, m_delimiter);
    const Cache::iterator known = mapPrefix(stem, /*insert=*/false);
    return known != m_cache.end() && known->second >= suffix;
}

void ZemNamingService::trimSuffix(OdString& name, unsigned& suffix, wchar_t delimiter)
{
    constexpr int kMaxDigits = 6;
    suffix = 0;
    const int length = name.getLength();
    const int low = std::max(1, length - kMaxDigits);
    unsigned number = 0;
    unsigned factor = 1;
    int at = length - 1;
    for (; at >= low && name.getAt(at) >= L'0' && name.getAt(at) <= L'9'; --at) {
        number += factor * static_cast<unsigned>(name.getAt(at) - L'0');
        factor *= 10;
    }
    if (at >= 0 && name.getAt(at) == delimiter) {
        suffix = number;
        name.deleteChars(at, length - at);
    }
}
