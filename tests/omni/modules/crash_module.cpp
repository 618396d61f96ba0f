// A loadable module for the crash handler tests: faults inside itself on request.
extern "C" __attribute__((visibility("default"))) void
vlt_test_crash_module_write(volatile int* target, int value) {
    *target = value;
}
