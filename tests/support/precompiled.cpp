// Compiled for its precompiled header alone, which the test programs share.
int main() {}
