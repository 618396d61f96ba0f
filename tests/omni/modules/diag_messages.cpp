// A message module for the diagnostics tests: knows the texts of codes 9001 and 9002 only. On
// Windows the texts are the module's message table (diag_messages.mc) instead.
#if !defined(_WIN32)
extern "C" __attribute__((visibility("default"))) const char* omn_DiagMessageText(int code) {
    switch (code) {
    case 9001:
        return "Mesh is not closed";
    case 9002:
        return "Solver diverged";
    default:
        return nullptr;
    }
}
#endif
