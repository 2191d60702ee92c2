#include "symbols/range_merge_index.h"

#include <algorithm>
#include <numeric>

#include "symbols/range_fold.h"

struct ktRangeMergeIndex::Search {
    uint64_t highestStart;
    uint64_t lowestEnd;
    uint32_t best;
};

ktRangeMergeIndex::ktRangeMergeIndex(const std::vector<ktAddrRange> &ranges) { Build(ranges); }

void ktRangeMergeIndex::Build(const std::vector<ktAddrRange> &ranges) {
    nodes.clear();
    nodes.reserve(ranges.size() + 1);
    for (const ktAddrRange &range : ranges) nodes.push_back({range, {}, ktNoRange, ktNoRange, true, false});
    std::vector<uint32_t> places(ranges.size());
    std::iota(places.begin(), places.end(), 0);
    std::sort(places.begin(), places.end(), [this](uint32_t a, uint32_t b) { return StandsBefore(a, b); });
    top = BuildTree(places.data(), places.size());
    count = ranges.size();
}

uint32_t ktRangeMergeIndex::BuildTree(const uint32_t *places, size_t placeCount) {
    if (placeCount == 0) return ktNoRange;
    const size_t middle = placeCount / 2;
    const uint32_t root = places[middle];
    nodes[root].left = BuildTree(places, middle);
    nodes[root].right = BuildTree(places + middle + 1, placeCount - middle - 1);
    Update(root);
    return root;
}

uint32_t ktRangeMergeIndex::FindFirst(uint64_t highestStart, uint64_t lowestEnd) const {
    Search search{highestStart, lowestEnd, ktNoRange};
    FindFirstIn(top, search);
    return search.best;
}

void ktRangeMergeIndex::FindFirstIn(uint32_t root, Search &search) const {
    while (root != ktNoRange) {
        const Node &node = nodes[root];
        if (node.tree.highestEnd < search.lowestEnd || node.tree.firstPlace >= search.best) return;
        if (node.range.start > search.highestStart) {
            root = node.left;
            continue;
        }
        if (node.range.End() >= search.lowestEnd) search.best = std::min(search.best, root);
        // All starts on the left are low enough; so where all ends are high enough, the answer is at hand.
        if (node.left != ktNoRange && nodes[node.left].tree.lowestEnd >= search.lowestEnd) {
            search.best = std::min(search.best, nodes[node.left].tree.firstPlace);
        } else {
            FindFirstIn(node.left, search);
        }
        root = node.right;
    }
}

void ktRangeMergeIndex::Stretch(uint32_t place, uint64_t end) {
    nodes[place].range.size = end - nodes[place].range.start;
    UpdatePath(top, place);
}

void ktRangeMergeIndex::MoveStart(uint32_t place, uint64_t start) {
    const uint32_t below = Predecessor(place);
    const bool staysInOrder = below == ktNoRange || nodes[below].range.start < start;
    if (!staysInOrder) top = Remove(top, place);
    nodes[place].range.start = start;
    if (staysInOrder) {
        UpdatePath(top, place);
    } else {
        top = Insert(top, place);
    }
}

void ktRangeMergeIndex::Append(const ktAddrRange &range) {
    const auto place = static_cast<uint32_t>(nodes.size());
    nodes.push_back({range, {}, ktNoRange, ktNoRange, true, false});
    top = Insert(top, place);
    ++count;
}

void ktRangeMergeIndex::Drop(uint32_t place) {
    if (nodes[place].isDropped) return;
    nodes[place].isDropped = true;
    UpdatePath(top, place);
    dropped.push_back(place);
}

void ktRangeMergeIndex::DropInside(uint64_t low, uint64_t high, uint32_t before) {
    inside.clear();
    CollectInside(top, low, high, before);
    for (uint32_t place : inside) Drop(place);
}

void ktRangeMergeIndex::CollectInside(uint32_t root, uint64_t low, uint64_t high, uint32_t before) {
    while (root != ktNoRange) {
        const Node &node = nodes[root];
        if (node.tree.firstKept >= before || node.tree.lowestEnd >= high || node.tree.highestEnd < low)
            return;
        if (node.range.start <= low) {
            root = node.right;
            continue;
        }
        if (node.range.start > high) {
            root = node.left;
            continue;
        }
        CollectInside(node.left, low, high, before);
        const uint64_t end = node.range.End();
        if (!node.isDropped && root < before && end >= low && end < high) inside.push_back(root);
        root = node.right;
    }
}

void ktRangeMergeIndex::Finish() {
    for (uint32_t place : dropped) {
        top = Remove(top, place);
        nodes[place].isInTree = false;
    }
    count -= dropped.size();
    dropped.clear();
    // The places of removed ranges are not used again; so they must not pile up.
    if (nodes.size() > 2 * count + 64) {
        std::vector<ktAddrRange> ranges;
        CopyTo(ranges);
        Build(ranges);
    }
}

uint64_t ktRangeMergeIndex::Low() const {
    if (top == ktNoRange) return ~uint64_t(0);
    uint32_t lowest = top;
    while (nodes[lowest].left != ktNoRange) lowest = nodes[lowest].left;
    return nodes[lowest].range.start;
}

uint64_t ktRangeMergeIndex::High() const { return top == ktNoRange ? 0 : nodes[top].tree.highestEnd; }

void ktRangeMergeIndex::CopyTo(std::vector<ktAddrRange> &ranges) const {
    ranges.clear();
    ranges.reserve(count);
    for (const Node &node : nodes) {
        if (node.isInTree) ranges.push_back(node.range);
    }
}

bool ktRangeMergeIndex::StandsBefore(uint32_t a, uint32_t b) const {
    const uint64_t startOfA = nodes[a].range.start;
    const uint64_t startOfB = nodes[b].range.start;
    return startOfA != startOfB ? startOfA < startOfB : a < b;
}

/// The node just below `place` in the order of the tree.
uint32_t ktRangeMergeIndex::Predecessor(uint32_t place) const {
    uint32_t below = ktNoRange;
    uint32_t root = top;
    while (root != place) {
        if (StandsBefore(place, root)) {
            root = nodes[root].left;
        } else {
            below = root;
            root = nodes[root].right;
        }
    }
    for (root = nodes[place].left; root != ktNoRange; root = nodes[root].right) below = root;
    return below;
}

int ktRangeMergeIndex::Height(uint32_t root) const { return root == ktNoRange ? 0 : nodes[root].tree.height; }

void ktRangeMergeIndex::Summary::Include(const Summary &part) {
    lowestEnd = std::min(lowestEnd, part.lowestEnd);
    highestEnd = std::max(highestEnd, part.highestEnd);
    firstPlace = std::min(firstPlace, part.firstPlace);
    firstKept = std::min(firstKept, part.firstKept);
}

void ktRangeMergeIndex::Update(uint32_t root) {
    Node &node = nodes[root];
    const uint64_t end = node.range.End();
    node.tree = {end, end, root, node.isDropped ? ktNoRange : root, 1};
    for (uint32_t child : {node.left, node.right}) {
        if (child == ktNoRange) continue;
        node.tree.Include(nodes[child].tree);
        node.tree.height = std::max(node.tree.height, nodes[child].tree.height + 1);
    }
}

/// Updates the nodes from `place` up to `root`; false when the root's summary is as it was.
bool ktRangeMergeIndex::UpdatePath(uint32_t root, uint32_t place) {
    const Node &node = nodes[root];
    if (root != place && !UpdatePath(StandsBefore(place, root) ? node.left : node.right, place)) return false;
    const Summary before = node.tree;
    Update(root);
    return node.tree != before;
}

uint32_t ktRangeMergeIndex::RotateLeft(uint32_t root) {
    const uint32_t risen = nodes[root].right;
    nodes[root].right = nodes[risen].left;
    nodes[risen].left = root;
    Update(root);
    Update(risen);
    return risen;
}

uint32_t ktRangeMergeIndex::RotateRight(uint32_t root) {
    const uint32_t risen = nodes[root].left;
    nodes[root].left = nodes[risen].right;
    nodes[risen].right = root;
    Update(root);
    Update(risen);
    return risen;
}

uint32_t ktRangeMergeIndex::Balance(uint32_t root) {
    Node &node = nodes[root];
    const int lean = Height(node.left) - Height(node.right);
    if (lean > 1) {
        const Node &child = nodes[node.left];
        if (Height(child.left) < Height(child.right)) node.left = RotateLeft(node.left);
        return RotateRight(root);
    }
    if (lean < -1) {
        const Node &child = nodes[node.right];
        if (Height(child.right) < Height(child.left)) node.right = RotateRight(node.right);
        return RotateLeft(root);
    }
    Update(root);
    return root;
}

uint32_t ktRangeMergeIndex::Insert(uint32_t root, uint32_t place) {
    if (root == ktNoRange) {
        nodes[place].left = nodes[place].right = ktNoRange;
        Update(place);
        return place;
    }
    Node &node = nodes[root];
    uint32_t &child = StandsBefore(place, root) ? node.left : node.right;
    const int heightBefore = Height(child);
    child = Insert(child, place);
    if (Height(child) != heightBefore) return Balance(root);
    // This is enough, and it spares a look at the other child, which is far away in memory.
    node.tree.Include(nodes[child].tree);
    return root;
}

uint32_t ktRangeMergeIndex::Remove(uint32_t root, uint32_t place) {
    Node &node = nodes[root];
    if (root != place) {
        uint32_t &child = StandsBefore(place, root) ? node.left : node.right;
        const Summary before = nodes[child].tree;
        child = Remove(child, place);
        if (child != ktNoRange && nodes[child].tree == before) return root;
        return Balance(root);
    }
    if (node.left == ktNoRange) return node.right;
    if (node.right == ktNoRange) return node.left;
    uint32_t lowest = ktNoRange;
    const uint32_t right = RemoveLowest(node.right, lowest);
    nodes[lowest].left = node.left;
    nodes[lowest].right = right;
    return Balance(lowest);
}

uint32_t ktRangeMergeIndex::RemoveLowest(uint32_t root, uint32_t &lowest) {
    Node &node = nodes[root];
    if (node.left == ktNoRange) {
        lowest = root;
        return node.right;
    }
    node.left = RemoveLowest(node.left, lowest);
    return Balance(root);
}
