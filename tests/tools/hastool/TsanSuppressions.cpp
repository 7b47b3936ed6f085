// What ThreadSanitizer cannot see into.

extern "C" const char* __tsan_default_suppressions();

/// The server library is not built for it: the guards of its static objects go unseen.
extern "C" const char* __tsan_default_suppressions() {
    return "called_from_lib:libcpp-httplib.so\n";
}
