#pragma once

#include "platform/automation/describe.h"
#include "platform/automation/keyed_list.h"

namespace corveth {

struct Reading {
    Text Name;
    std::int16_t Count = 0;
    double Width = 0;
    bool Valid = false;
    Value Note;
    Currency Price;
    Date Day;
};

inline constexpr RecordInfo::Field readingFields[] = {
    recordField<&Reading::Name>("Name"),   recordField<&Reading::Count>("Count"), recordField<&Reading::Width>("Width"),
    recordField<&Reading::Valid>("Valid"), recordField<&Reading::Note>("Note"),   recordField<&Reading::Price>("Price"),
    recordField<&Reading::Day>("Day"),
};
inline constexpr RecordInfo readingInfo{"tpReading", readingFields};

template <>
struct RecordTraits<Reading> : RecordMembers<readingInfo, &Reading::Name, &Reading::Count, &Reading::Width,
                                             &Reading::Valid, &Reading::Note, &Reading::Price, &Reading::Day> {};

/// A class with a member for everything that crosses the edge.
class Gadget final : public Described<Gadget> {
public:
    static constexpr const char* className = "Gadget";
    static const ClassInfo description;

    Gadget();
    ~Gadget() override;

    Text Name;
    std::int32_t Number = 0;
    Value Anything;
    Ref<Object> Peer;

    /// Each argument comes back doubled: numbers twice, texts repeated, a truth turned round.
    void DoubleNumbers(std::uint8_t& small, std::int16_t& integer, std::int32_t& whole, float& single, double& wide);
    void DoubleOthers(bool& truth, Currency& money, Date& day, Text& text, Value& any);
    /// Leaves another gadget in the argument, or nothing when there was one.
    void Exchange(Ref<Object>& object);
    void ReadOnly(const Text& text, const std::int32_t& number);
    Text Join(const Text& first, const Text& second, const Text& third);
    void Fail(std::int32_t number, const Text& source, const Text& description);
    /// `bad_alloc`, `logic_error` or `int`.
    void ThrowForeign(const Text& what);

    Ref<Gadget> get_Item(const Value& index) const { return parts_.item(index); }
    Ref<Enumerator> NewEnum() const { return parts_.enumerate(); }
    void Add(const Text& name);
    void Remove(const Value& index) { parts_.remove(index); }

    Reading get_Reading() const { return reading_; }
    void let_Reading(const Reading& reading) { reading_ = reading; }
    void WidenReading(Reading& reading);

    /// How many there are, and how many were destroyed on another thread than their own.
    static int count() noexcept;
    static int destroyedElsewhere() noexcept;
    static void forgetDestroyedElsewhere() noexcept;

private:
    struct Table;
    Members<Gadget> parts_;
    Reading reading_;
};

} // namespace corveth
