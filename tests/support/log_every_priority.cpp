// Logs a line of each priority, for the test of the host's log library.
extern "C" int __android_log_print(int priority, const char *tag, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

int main() {
    const char *const texts[] = {"verbose", "debug\n", "info", "warning\n", "two\nlines\n", "fatal"};
    for (int i = 0; i < 6; ++i) {
        __android_log_print(2 + i, "wbkit-log", "%s", texts[i]);
    }
    return 0;
}
