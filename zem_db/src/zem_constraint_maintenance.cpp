#include "zem_constraint_maintenance.h"

#include "db/od_db_filer.h"

#include "zem_constraint.h"
#include "zem_properties.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>

namespace zemu {
namespace {

/// Keys of the three texts that are one now, in the order of its characters.
constexpr wchar_t const* kOldOrientationKeys[] = {
    L"AngleFirstArgOrientation", L"AngleSecondArgOrientation", L"AngleThirdArgOrientation"};
const OdString kOrientationKey(L"AngleArgsOrientation");
const OdString kDefaultOrientation(L"+++");
const OdString kNegative(L"Negative");

/// The place of an old key's character; -1 for any other key.
int orientationPlace(OdString const& key)
{
    const auto found =
        std::find(std::begin(kOldOrientationKeys), std::end(kOldOrientationKeys), key);
    return found == std::end(kOldOrientationKeys)
               ? -1
               : static_cast<int>(found - std::begin(kOldOrientationKeys));
}

}  // namespace

OdResult dwgInOldPropertyMap(OdDbDwgFiler* filer, ZemProperties& bag)
{
    // Nothing is allocated by the count, so one that is too large ends with the stream.
    const std::int32_t count = filer->rdInt32();
    if (count < 0) {
        return kOdBadStream;
    }
    std::map<OdString, OdString> texts;
    OdString orientation = kDefaultOrientation;
    bool orientationSeen = false;
    for (std::int32_t i = 0; i < count; ++i) {
        OdString key = filer->rdString();
        OdString value = filer->rdString();
        if (key.isEmpty()) {
            continue;
        }
        if (const int place = orientationPlace(key); place >= 0) {
            orientation.setAt(place, value == kNegative ? L'-' : L'+');
            orientationSeen = true;
        } else {
            texts.insert_or_assign(std::move(key), std::move(value));
        }
    }
    if (orientationSeen) {
        texts.insert_or_assign(kOrientationKey, std::move(orientation));
    }
    bag.clear();
    for (auto const& [key, value] : texts) {
        bag.setProperty(key, value);
    }
    return kOdOk;
}

int compareExtendedPath(ZemExtendedPath const& left, ZemExtendedPath const& right)
{
    if (left.isCsObject != right.isCsObject) {
        return left.isCsObject ? -1 : 1;
    }
    if (!left.isCsObject) {
        return compareFullSubentPath(left.path, right.path);
    }
    return left.csType < right.csType ? -1 : (right.csType < left.csType ? 1 : 0);
}

OdString removeNumericSuffix(OdString const& name)
{
    constexpr std::wstring_view kDigits = L"0123456789";
    std::wstring_view text = name.wide();
    text = text.substr(0, text.find_last_not_of(kDigits) + 1);
    if (text.ends_with(L'_')) {
        text.remove_suffix(1);
    }
    return OdString::fromWide(text);
}

OdString generateUniqueName(OdString const& base, std::set<OdString>& names, int start)
{
    for (std::int64_t number = start;; ++number) {
        OdString name = base + L"_" + OdString(std::to_wstring(number).c_str());
        if (names.insert(name).second) {
            return name;
        }
    }
}

}  // namespace zemu
