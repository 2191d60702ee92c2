struct node {
    struct node *next;
    int value;
};

int total;

__attribute__((noinline)) static int sum_list(const struct node *node) {
    int sum = 0;
    for (; node; node = node->next) sum += node->value;
    return sum;
}

__attribute__((noinline)) static int helper(int value) { return value * 3 + total; }

int use_list(int count) {
    static struct node nodes[8];
    for (int i = 0; i < 8; ++i) {
        nodes[i].value = helper(i + count);
        nodes[i].next = i < 7 ? &nodes[i + 1] : 0;
    }
    return sum_list(nodes);
}
