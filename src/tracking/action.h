#pragma once

#include "session/link_item.h"

namespace corveth {

/// Something to be done about an item; one row of `Actions`.
class CORVETH_API Action final : public Described<Action> {
public:
    static constexpr const char* className = "Action";
    static const ClassInfo description;

    Text Description;
    Text Priority;
    Text FinishBy; ///< a date; empty when there is none
    std::uint8_t PercentageCompleted = 0;
    Text FinishDate; ///< a date; empty when there is none
    Text LinkId;     ///< ID of the item that the action belongs to

    /// Made of the loaded ID on first read after a `Populate`, and kept until the next.
    [[nodiscard]] Ref<LinkItem> get_Task();
    /// The display name of the type of `LinkId`.
    [[nodiscard]] Text get_LinkType() const;
    /// As `Task`.
    [[nodiscard]] Ref<LinkItem> get_AssignedTo();
    void let_ID(Text value) { id_ = std::move(value); }
    [[nodiscard]] Text get_ID() const { return id_; }

    /// Loads the row of `ID`; without one it becomes a new action. A Null date leaves the one that is held.
    void Populate();
    /// Writes the row of `ID`; when there is none, a new one of that ID, or of one of its own when `ID` is empty.
    void Update();
    /// Deletes the action with its links and participants, with `bSelf` in a transaction of its own.
    void DeleteAction(const bool& bSelf = false);

private:
    struct Table;

    Text id_, assignedToId_, taskId_;
    Ref<LinkItem> assignedTo_ = make<LinkItem>();
    Ref<LinkItem> task_ = make<LinkItem>();
};

} // namespace corveth
