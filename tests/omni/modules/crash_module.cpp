// A loadable module for the crash handler tests: faults inside itself on request.
#if defined(_WIN32)
#define VLT_TEST_MODULE_EXPORT __declspec(dllexport)
#else
#define VLT_TEST_MODULE_EXPORT __attribute__((visibility("default")))
#endif

extern "C" VLT_TEST_MODULE_EXPORT void vlt_test_crash_module_write(volatile int* target,
                                                                   int value) {
    *target = value;
}
