// Stands where the crash reporter stands, so that the service finds one and loads the crash-report library. It reports
// nothing.
int main() {
    return 0;
}
