#include "assoc/od_db_eval_variant.h"

RX_DEFINE_CLASS(OdDbEvalVariant, OdResBuf, odrxCreate<OdDbEvalVariant>, L"OdDbEvalVariant");

namespace {

/// Group codes that stand for the kinds of values.
constexpr int kTextCode = 1;
constexpr int kDoubleCode = 40;
constexpr int kInt32Code = 90;

}  // namespace

OdDbEvalVariant::OdDbEvalVariant()
{
    setRestype(-1);  // a code that stands for no kind
}

OdDbEvalVariant::OdDbEvalVariant(double value)
{
    setRestype(kDoubleCode);
    setDouble(value);
}

OdDbEvalVariant::OdDbEvalVariant(int value)
{
    setRestype(kInt32Code);
    setInt32(value);
}

OdDbEvalVariant::OdDbEvalVariant(OdString const& value)
{
    setRestype(kTextCode);
    setString(value);
}

OdDbEvalVariantPtr OdDbEvalVariant::create(double value)
{
    return odrxMake<OdDbEvalVariant>(value);
}

OdDbEvalVariantPtr OdDbEvalVariant::create(int value)
{
    return odrxMake<OdDbEvalVariant>(value);
}

OdDbEvalVariantPtr OdDbEvalVariant::create(OdString const& value)
{
    return odrxMake<OdDbEvalVariant>(value);
}

OdDbEvalVariant::Type OdDbEvalVariant::getType() const noexcept
{
    switch (kind()) {
    case Kind::kNone:
        return kNone;
    case Kind::kDouble:
        return kDouble;
    case Kind::kInt32:
        return kInt32;
    case Kind::kString:
        return kString;
    default:
        return kOther;
    }
}

bool OdDbEvalVariant::getNumber(double& value) const
{
    switch (getType()) {
    case kDouble:
        value = getDouble();
        return true;
    case kInt32:
        value = getInt32();
        return true;
    default:
        return false;
    }
}

OdRxObjectPtr OdDbEvalVariant::clone() const
{
    const OdDbEvalVariantPtr copy = odrxMake<OdDbEvalVariant>();
    copy->copyFrom(this);
    return copy;
}
