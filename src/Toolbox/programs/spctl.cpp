// spctl: the policy that it asks is a part of macOS.
#include <cstdio>

int main(int count, char** values) {
    if (count > 1)
        std::fprintf(stderr, "%s: ", values[count - 1]);
    std::fputs("cannot be assessed: Gatekeeper is not available on this system\n", stderr);
    return 1;
}
