#include "front/front.h"

namespace sable {

Front &TheFront() {
    static Front front;
    return front;
}

} // namespace sable
