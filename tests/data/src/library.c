int use_list(int count);
int use_text(const char *text);

__attribute__((noinline)) static int inner(int count) { return use_list(count) ^ 5; }

int library_entry(int count, const char *text) { return inner(count) + use_text(text); }
