struct record;
enum signal { signal_quiet = -3, signal_loud = 9 };
int shape(struct record *record, enum signal signal);

static int noisy(int count) { return count & 1 ? signal_loud : signal_quiet; }

int main(int argc, char **argv) {
    static long room[64];
    (void)argv;
    return argc > 9 ? shape((struct record *)room, noisy(argc)) : 0;
}
