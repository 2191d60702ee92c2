char buffer[64];

__attribute__((noinline)) static int helper(const char *text) {
    int length = 0;
    while (text[length]) ++length;
    return length;
}

__attribute__((noinline)) static void copy_text(char *to, const char *from, int size) {
    for (int i = 0; i < size; ++i) to[i] = from[i];
    to[size] = 0;
}

int use_text(const char *text) {
    int length = helper(text);
    if (length > 63) length = 63;
    copy_text(buffer, text, length);
    return length;
}
