// Options of the sanitizers' run time, linked into every program of a sanitizer build.

extern "C" const char* __asan_default_options();
extern "C" const char* __ubsan_default_options();
extern "C" const char* __lsan_default_suppressions();

// The module's own allocation functions go to the process's malloc, while the standard library's
// compiled code frees with the process's operator delete. The two are compatible by design, so the
// check that pairs them has nothing to find in a process that loads the module.
extern "C" const char* __asan_default_options()
{
    return "detect_stack_use_after_return=1:strict_string_checks=1:check_initialization_order=1:"
           "alloc_dealloc_mismatch=0:allocator_may_return_null=1:handle_abort=1";
}

extern "C" const char* __ubsan_default_options()
{
    return "print_stacktrace=1:halt_on_error=1";
}

// The modelling kernel keeps tables of its file formats until the process ends, some of them out of
// the leak check's sight.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libTK*.so\n";
}
