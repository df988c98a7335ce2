#include "ge/od_ge_tol.h"

constinit OdGeTol OdGeContext::gTol;
