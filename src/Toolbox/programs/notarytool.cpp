// notarytool: submissions are made from a Mac, with the credentials in its keychain.
#include <cstdio>

int main() {
    std::fputs("Error: notarytool is not available on this system. Notarize on a Mac.\n", stderr);
    return 69; // EX_UNAVAILABLE, as the original has it when the service is out of reach
}
