#include "kernel/list.h"

#include <stddef.h>

#include "kernel/heap.h"

struct list demoList;

static enum nodeKind kindOf(uint32_t key) {
    if (key >= 16) return nodeLarge;
    return key % 2 == 0 ? nodeEven : nodePlain;
}

bool listInsert(struct list *list, uint32_t key, int64_t value) {
    struct listNode *node = heapTake(sizeof *node);
    if (node == NULL) return false;
    *node = (struct listNode){.key = key, .kind = kindOf(key), .value = value, .label = "node"};
    node->label[4] = (char)('a' + key % 26);
    struct listNode *before = NULL, *after = list->head;
    while (after != NULL && after->key < key) {
        before = after;
        after = after->next;
    }
    node->next = after;
    node->previous = before;
    if (after != NULL) after->previous = node;
    if (before != NULL) before->next = node;
    if (before == NULL) list->head = node;
    ++list->count;
    return true;
}

bool listRemove(struct list *list, uint32_t key) {
    struct listNode *node = list->head;
    while (node != NULL && node->key != key) node = node->next;
    if (node == NULL) return false;
    if (node->previous != NULL) node->previous->next = node->next;
    if (node->next != NULL) node->next->previous = node->previous;
    if (node->previous == NULL) list->head = node->next;
    heapGive(node);
    --list->count;
    return true;
}

int64_t listWalk(struct list *list) {
    int64_t sum = 0;
    for (struct listNode *node = list->head; node != NULL; node = node->next) {
        ++node->visits;
        sum += node->value;
    }
    ++list->walks;
    return sum;
}
