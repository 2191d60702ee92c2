int use_list(int count);
int use_text(const char *text);

__attribute__((noinline)) static int run(int count, const char *text) {
    return use_list(count) + use_text(text);
}

int main(int argc, char **argv) { return run(argc, argv[0]) & 1; }
