#include "zem_utils/zemc_assert.h"

#include "root/od_assert.h"

void zemcCallAssert(char const* expression, char const* message, char const* file, int line)
{
    odReportAssert(expression, message, file, line);
}
