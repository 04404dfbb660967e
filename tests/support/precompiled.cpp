// An executable of its own, so that every test program can share one precompiled header.
int main() { return 0; }
