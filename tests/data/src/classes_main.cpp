int Classes(int count);

int main(int argc, char **) { return argc > 9 ? Classes(argc) : 0; }
