// The value of a variable or of an expression.

#pragma once

#include "root/od_res_buf.h"

/// A number or a text. As a result buffer it can be put into a chain.
class OdDbEvalVariant : public OdResBuf
{
    RX_DECLARE_CLASS(OdDbEvalVariant);

public:
    /// Kinds of values; the numbers never change.
    enum Type : int
    {
        kNone = 0,
        kDouble = 1,
        kInt32 = 2,
        kString = 3,
        kOther = 4  ///< a kind of value that variables have not
    };

    /// Holds nothing.
    OdDbEvalVariant();
    explicit OdDbEvalVariant(double value);
    explicit OdDbEvalVariant(int value);
    explicit OdDbEvalVariant(OdString const& value);

    /// \name New values on the heap
    /// @{
    static OdSmartPtr<OdDbEvalVariant> create(double value);
    static OdSmartPtr<OdDbEvalVariant> create(int value);
    static OdSmartPtr<OdDbEvalVariant> create(OdString const& value);
    /// @}

    Type getType() const noexcept;
    /// The number of either kind; false for a value that is none.
    bool getNumber(double& value) const;
    OdRxObjectPtr clone() const override;
};

using OdDbEvalVariantPtr = OdSmartPtr<OdDbEvalVariant>;
