#pragma once

#include "contacts/contact_base.h"

namespace corveth {

class Notes;
class Tasks;

/// A read-only view of a contact that is a company. Setting `ID` loads it; nothing is ever written.
class CORVETH_API Company final : public Described<Company>, public ContactBase {
public:
    static constexpr const char* className = "Company";
    static const ClassInfo description;

    Company();
    ~Company() override;

    // Made on first read, without filter; the same objects afterwards.
    [[nodiscard]] Ref<Tasks> get_Tasks();
    [[nodiscard]] Ref<Notes> get_Notes();

    /// Trimmed. Empty resets the object, anything else loads the company's row; without a row nothing changes.
    void let_ID(const Text& value);
    [[nodiscard]] Text get_ID() const { return id_; }

private:
    struct Table;
    void reset();

    Text id_;
    Ref<Tasks> tasks_;
    Ref<Notes> notes_;
};

} // namespace corveth
