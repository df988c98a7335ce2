// Access to the property bags that are attached to objects, for code that doesn't link the module.

#pragma once

#include "db/od_db_object.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>

namespace zemhost {

/// Objects have their keys in the order of a bag: by the numbers of the characters.
using BagJson = nlohmann::json;

/// Where the bag that is attached to an object lies.
enum class BagPlace : std::uint8_t
{
    kNone,
    kExtendedData,
    kExtensionDictionary
};

/// What can be told of an attached bag without a look at its values.
struct BagForm
{
    BagPlace place = BagPlace::kNone;
    std::uint64_t bytes = 0;  ///< length of the flat stream
};

/// Reads and changes the property bags that are attached to objects.
///
/// `zemhost_extensions.tx`, which links the module, attaches the one implementation to
/// `OdDbObject::desc()`; the program asks for it there. The program thus needs none of the module's
/// classes, and works without the module where no bag is asked for.
///
/// **Values** are JSON objects `{"type": <type>, "value": <value>}`:
///
/// | type | value |
/// |---|---|
/// | `string` | text of at most 32767 bytes of UTF-8 |
/// | `int`, `int8` | a whole number of 32 or 8 bits |
/// | `double` | a number |
/// | `bool` | true or false |
/// | `handle` | hexadecimal text, `"2A"` |
/// | `id` | `{"reference": <kind>, "handle": "0"}` with the kinds `soft pointer`, `hard pointer`, `soft ownership`, `hard ownership` |
/// | `blob` | hexadecimal text, two digits for each byte |
/// | `array of <element>` | a list of values of one of the types above, or of `value` |
/// | `map of <key> to <element>` | a list of pairs `[key, value]`; with `string` keys an object |
///
/// Keys are of any type above but `blob`. An element of type `value` is a whole value with its own
/// type, which is how values nest. An attached bag keeps no object of an `id`, only its kind of
/// reference; what must survive is stored as a `handle`.
///
/// Everything throws HostError (usage) for a value that breaks these rules, with the path to it, and
/// HostError (findings) for an attached bag that can't be read. Nothing has changed then.
class HostBagExtension : public OdRxObject
{
    RX_DECLARE_CLASS(HostBagExtension);

public:
    /// Where the object's bag lies, and how large it is. Works on a damaged bag too.
    virtual BagForm form(OdDbObject const& object) const = 0;
    /// All values by name, in order of names; empty without a bag.
    virtual BagJson read(OdDbObject const& object) const = 0;
    /// Values by name, in the form in which `read` would give them once they were set. Two forms of
    /// one value, such as a handle in either case, become the same.
    virtual BagJson canonical(BagJson const& entries) const = 0;
    /// The types by name, in order of names; spares the values of large bags.
    virtual BagJson readTypes(OdDbObject const& object) const = 0;
    /// Sets one value.
    ///
    /// \param object  Open for write.
    /// \param retype  Whether a value of another type is replaced too; without, that is an error
    ///                (usage).
    virtual void set(OdDbObject& object, std::string const& name, BagJson const& value,
                     bool retype) const = 0;
    /// Replaces the whole bag, whether what was there can be read or not.
    ///
    /// \param entries  Values by name; empty takes the bag away.
    virtual void replace(OdDbObject& object, BagJson const& entries) const = 0;
    /// Removes one value. \return Whether there was one.
    virtual bool remove(OdDbObject& object, std::string const& name) const = 0;

    /// \name Data of the host
    /// Bytes that the host keeps with an object beside the bag that is its user's, each under a name
    /// in a bag of its own: dictionary "ZEMHOST_DATA" of the object's extension dictionary.
    /// @{
    /// The bytes of a name; none if there are none.
    virtual OdBinaryData data(OdDbObject const& object, OdString const& name) const = 0;
    /// \param object  In a database.
    virtual void setData(OdDbObject const& object, OdString const& name,
                         OdBinaryData const& bytes) const = 0;
    /// @}
};

}  // namespace zemhost
