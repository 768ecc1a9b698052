#include "session/linked_items.h"

#include "session/statements.h"

namespace corveth {

void DeleteLinkedItems(const Text& id) {
    execute(Sql{"DELETE From Attachments Where LinkID ='", id, "'"});
    execute(Sql{"DELETE From Reminders Where LinkID ='", id, "'"});
    execute(Sql{"DELETE From Notes Where LinkID ='", id, "'"});
    execute(Sql{"DELETE From Favourites Where LinkID ='", id, "'"});
    execute(Sql{"DELETE From StatusHistory Where LinkID ='", id, "'"});
}

} // namespace corveth
