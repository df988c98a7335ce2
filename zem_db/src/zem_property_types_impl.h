// The closed sets of value types, for what is instantiated once for each of them.

#pragma once

#include "zem_property_data.h"

#define ZEM_FOR_EACH_MAP_TYPE(apply, K)                                                            \
    apply(std::map<K, ZemPropertyDataPtr>);                                                        \
    apply(std::map<K, OdString>);                                                                  \
    apply(std::map<K, int>);                                                                       \
    apply(std::map<K, double>);                                                                    \
    apply(std::map<K, bool>);                                                                      \
    apply(std::map<K, signed char>);                                                               \
    apply(std::map<K, OdDbHandle>);                                                                \
    apply(std::map<K, OdDbTypedId>);                                                               \
    apply(std::map<K, std::vector<char>>)

/// Expands to `apply(T);` for each of the 80 value types; `apply` takes any number of arguments, as
/// the commas in a type split it.
#define ZEM_FOR_EACH_VALUE_TYPE(apply)                                                             \
    apply(OdString);                                                                               \
    apply(int);                                                                                    \
    apply(double);                                                                                 \
    apply(bool);                                                                                   \
    apply(signed char);                                                                            \
    apply(OdDbHandle);                                                                             \
    apply(OdDbTypedId);                                                                            \
    apply(std::vector<char>);                                                                      \
    apply(ZemPropertyArray<ZemPropertyDataPtr>);                                                   \
    apply(ZemPropertyArray<OdString>);                                                             \
    apply(ZemPropertyArray<int>);                                                                  \
    apply(ZemPropertyArray<double>);                                                               \
    apply(ZemPropertyArray<bool>);                                                                 \
    apply(ZemPropertyArray<signed char>);                                                          \
    apply(ZemPropertyArray<OdDbHandle>);                                                           \
    apply(ZemPropertyArray<OdDbTypedId>);                                                          \
    apply(ZemPropertyArray<std::vector<char>>);                                                    \
    ZEM_FOR_EACH_MAP_TYPE(apply, OdString);                                                        \
    ZEM_FOR_EACH_MAP_TYPE(apply, int);                                                             \
    ZEM_FOR_EACH_MAP_TYPE(apply, double);                                                          \
    ZEM_FOR_EACH_MAP_TYPE(apply, bool);                                                            \
    ZEM_FOR_EACH_MAP_TYPE(apply, signed char);                                                     \
    ZEM_FOR_EACH_MAP_TYPE(apply, OdDbHandle);                                                      \
    ZEM_FOR_EACH_MAP_TYPE(apply, OdDbTypedId)

/// As `ZEM_FOR_EACH_VALUE_TYPE` for the types that have bound nodes.
#define ZEM_FOR_EACH_BOUND_TYPE(apply)                                                             \
    apply(bool);                                                                                   \
    apply(double);                                                                                 \
    apply(signed char);                                                                            \
    apply(int);                                                                                    \
    apply(OdString);                                                                               \
    apply(OdDbTypedId);                                                                            \
    apply(ZemPropertyArray<OdDbTypedId>);                                                          \
    apply(ZemPropertyArray<OdString>);                                                             \
    apply(ZemPropertyArray<double>);                                                               \
    apply(ZemPropertyArray<int>);                                                                  \
    apply(std::map<OdDbTypedId, bool>)
