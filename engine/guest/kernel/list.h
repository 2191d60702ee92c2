// A list on the heap, sorted by key.
#pragma once

#include <stdbool.h>
#include <stdint.h>

enum nodeKind { nodePlain, nodeEven, nodeLarge = 16 };

struct listNode {
    struct listNode *next, *previous;
    uint32_t key;
    enum nodeKind kind;
    int64_t value;
    uint16_t visits;
    char label[6];
};

struct list {
    struct listNode *head;
    uint32_t count;
    uint32_t walks;
};

extern struct list demoList;

bool listInsert(struct list *list, uint32_t key, int64_t value);
bool listRemove(struct list *list, uint32_t key);
// Marks each node as visited; returns the sum of the values.
int64_t listWalk(struct list *list);
