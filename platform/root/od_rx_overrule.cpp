#include "root/od_rx_overrule.h"

#include <algorithm>
#include <vector>

RX_DEFINE_CLASS(OdRxOverrule, OdRxObject, odrxCreateNothing, L"OdRxOverrule");

bool OdRxOverrule::addOverrule(OdRxClass* cls, OdRxOverrule* overrule, bool atEnd)
{
    if (cls == nullptr || overrule == nullptr) {
        return false;
    }
    auto& list = cls->m_overrules;
    if (std::find(list.begin(), list.end(), overrule) != list.end()) {
        return false;
    }
    list.insert(atEnd ? list.end() : list.begin(), overrule);
    overrule->addRef();
    return true;
}

bool OdRxOverrule::removeOverrule(OdRxClass* cls, OdRxOverrule* overrule)
{
    if (cls == nullptr || overrule == nullptr) {
        return false;
    }
    auto& list = cls->m_overrules;
    const auto found = std::find(list.begin(), list.end(), overrule);
    if (found == list.end()) {
        return false;
    }
    list.erase(found);
    overrule->release();
    return true;
}

OdRxOverrule* odrxFindOverrule(OdRxObject const* object, OdRxClass const* kind,
                               OdRxOverrule const* after)
{
    bool passed = after == nullptr;
    // One that is attached to a class and to a base of it counts where it comes first only.
    // They are held, or another one might come to stand where one that was taken out stood.
    std::vector<OdSmartPtr<OdRxOverrule>> seen;
    for (OdRxClass const* cls = object->isA(); cls != nullptr; cls = cls->parent()) {
        // By index: an overrule that is asked may attach others, and take out any, itself too.
        for (std::size_t index = 0; index < cls->overrules().size(); ++index) {
            OdRxOverrule* const overrule = cls->overrules()[index];
            if (std::find(seen.begin(), seen.end(), overrule) != seen.end()) {
                continue;
            }
            seen.emplace_back(overrule);
            if (!passed) {
                passed = overrule == after;
                continue;
            }
            if (!overrule->isKindOf(kind)) {
                continue;
            }
            const bool applies = overrule->isApplicable(object);
            auto const& now = cls->overrules();
            const bool isThere = std::find(now.begin(), now.end(), overrule) != now.end();
            if (applies && isThere) {
                return overrule;
            }
            if (index >= now.size() || now[index] != overrule) {
                // The list has changed. From the start; who was asked is passed over.
                index = static_cast<std::size_t>(-1);
            }
        }
    }
    return nullptr;
}
