// The form in which the module makes transient objects of a class that leaves counting open.

#pragma once

#include "root/od_rx_object.h"

/// `Base` with reference counting: born with one reference, deleted with the last. Classes with
/// fields of their own specialise it.
template <class Base>
class ZemRxObjectImpl : public OdRxObjectImpl<Base>
{
public:
    using OdRxObjectImpl<Base>::OdRxObjectImpl;
};
