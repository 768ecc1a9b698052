#pragma once

#include "scheduling/scheduling_types.h"

namespace corveth {

/// A contact who takes part in an item; one row of `Participants`, keyed by the two.
class CORVETH_API Participant final : public Described<Participant> {
public:
    static constexpr const char* className = "Participant";
    static const ClassInfo description;

    Text Description; ///< the contact's name, as the last `Populate` found it
    Text LinkId;      ///< the item
    Text ID;          ///< the contact
    Text Role = "Team Member";
    Text Permission = "Full";
    float WorkDone = 0;    ///< hours
    float WorkAlloted = 0; ///< hours
    float Rate = 1;
    float Amount = 0;
    Text Account;
    bool Billable = false;
    Text Comment;
    float Availability = 0; ///< percentage of one full-time resource

    // Held in memory only.
    ptCalcMethod WorkCalcMethod = ptCalcMethod::FixedWork;
    float PlanWork = 0;
    float PlanDuration = 0;
    float Resource = 0;

    /// Loads the row of `ID` and `LinkId`. A contact who is not assigned becomes a billable team member, fully
    /// available, of no item: `LinkId` is emptied.
    void Populate();
    /// Writes the row of `ID` and `LinkId`, a new one when there is none.
    void Update();
    /// Counts nothing: always fails.
    [[nodiscard]] std::int32_t getTaskCount() const;
    void DeleteParticipant();

private:
    struct Table;
};

} // namespace corveth
