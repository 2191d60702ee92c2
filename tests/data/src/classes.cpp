#include <stdarg.h>

namespace outer {

enum class Mood : signed char { sad = -1, calm, glad };
enum Plain : unsigned { plainFirst = 1, plainLast = 0x80000000u };

namespace inner {
struct Pair {
    int first;
    long second;
    static int made;
    bool operator==(const Pair &other) const { return first == other.first; }
};
int Pair::made = 0;
int Hidden(int value) { return value + Pair::made; }
} // namespace inner

namespace {
int secret = 3;
__attribute__((noinline)) int Secret(int by) { return secret += by; }
} // namespace

struct Base {
    virtual ~Base() = default;
    virtual int Area() const = 0;
    int id = 0;
};

struct Left : virtual Base {
    int Area() const override { return id; }
};

struct Square final : Left {
    int Area() const override { return side * side; }
    unsigned visible : 1;
    unsigned layer : 6;
    int side = 2;
    union {
        double real;
        struct {
            short low, high;
        };
    };
    Mood mood = Mood::glad;
    int (Square::*method)() const = nullptr;
    int Square::*member = nullptr;
};

template <class T, int Count>
struct Row {
    T items[Count];
    T Sum() const {
        T sum = T();
        for (const T &item : items) sum += item;
        return sum;
    }
};

template <class T>
__attribute__((noinline)) T Largest(const T &a, T &&b) {
    return a < b ? b : a;
}

} // namespace outer

struct Holder {
    outer::Row<int, 4> ints;
    outer::Row<double, 2> reals;
    outer::inner::Pair pair;
    outer::Plain plain;
    int (*call)(int, ...);
    char text[2][8];
};

static int Count(int count, ...) {
    va_list list;
    va_start(list, count);
    int sum = 0;
    while (count-- > 0) sum += va_arg(list, int);
    va_end(list);
    return sum;
}

__attribute__((noinline)) int Use(Holder &holder, const outer::Base &base) {
    const auto add = [&holder](int by) { return holder.ints.Sum() + by; };
    int total = base.Area() + add(3);
    for (int i = 0; i < 4; ++i) {
        const int scaled = outer::Largest(holder.ints.items[i], i * 2);
        total += scaled;
    }
    if (holder.plain == outer::plainLast) {
        const double half = outer::Largest(holder.reals.items[0], 0.5);
        total += static_cast<int>(half);
    }
    return total + outer::Secret(total) + outer::inner::Hidden(total) + holder.call(2, 1, total);
}

Holder holder;
outer::Square square;

int Classes(int count) {
    holder.call = Count;
    square.member = &outer::Square::side;
    square.method = &outer::Square::Area;
    return Use(holder, square) + count;
}
