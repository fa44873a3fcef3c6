// A program that lives long enough to be looked at as a client: it waits, at most a minute, for its end.
#include <windows.h>

int main() {
    ::Sleep(60000);
    return 0;
}
