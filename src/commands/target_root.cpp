#include "commands/target_root.h"

#include "session/session.h"

void ktFillRoot(const ktSession &session, ktAddress &address) {
    if (address.root == 0 && session.publishedSnapshot) address.root = session.stopRoot;
}
