// What the tests of the loader and their small modules share.

#pragma once

/// Calls that reached a module; its system data points to one of these.
struct TestModuleCalls
{
    int created = 0;
    int initialised = 0;
    int uninitialised = 0;
    int deleted = 0;
};
