// The attributes of a participant as a table: one row says which id, in which role, which field or
// function stands behind it, what its values may be, and what a change does.
//
//     std::span<const QLAttribRow> CVignetteStage::Rows() {
//         using R = QLRowsOf<CVignetteStage>;
//         static constexpr QLAttribRow rows[] = {
//             R::Provides(QL_ATTR_VIGNETTE).Keeps<&CVignetteStage::m_strength>().Range(0, 100)
//                 .Marks<&CVignetteStage::m_dirty>(),
//             R::Follows(QL_ATTR_INVERT).Calls<&CVignetteStage::OnInvert>(),
//         };
//         return rows;
//     }
//
// The participant attaches its rows in its constructor: each is registered or subscribed in the
// order of the rows, and reads, writes and announcements are answered from them. The same rows tell
// people and tests what there is: owner, kind and range of every attribute.
//
// How a value and its word belong together follows from the type of the field or function: bool (0
// or not 0), 32-bit integers, samples (16 bits, held at 0 and 65535), double (16.16), pointers.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <type_traits>
#include <utility>

#include "frame/attrib_store.h"
#include "frame/fixed_point.h"

enum class QLAttribRole : std::uint8_t {
    Provides,  // answers for the id
    Listens,   // hears of changes
    Follows,   // hears of changes, and takes over a value that stands already
    Answers,   // knows a value, while another participant holds the id on the board
};

// One id, or a run of ids that follow one another and stand for the elements of an array.
struct QLAttribRow {
    // `index` counts within the run. `owner` is the object that attached the rows.
    using Get = std::uint64_t (*)(void* owner, std::int32_t index);
    // True when the word changed something; functions answer true.
    using Put = bool (*)(void* owner, std::int32_t index, std::uint64_t word);
    using Act = void (*)(void* owner);

    bool Holds(std::int32_t id) const { return id >= m_first && id <= m_last; }
    bool HasRange() const { return m_low <= m_high; }

    std::int32_t m_first = 0;
    std::int32_t m_last = 0;
    QLAttribRole m_role = QLAttribRole::Provides;
    Get m_get = nullptr;
    Put m_put = nullptr;
    Act m_act = nullptr;    // a value was taken (provided) or announced (heard of)
    Act m_fired = nullptr;  // the id was fired at its provider
    std::int32_t m_fires = 0;
    bool m_always = false;   // the act follows also when nothing changed
    bool m_lowByte = false;  // only the low byte of a written word counts
    bool m_clamps = false;   // a written integer is held within the range
    // What a written number may be; low above high where the kind's own range holds.
    double m_low = 1.0;
    double m_high = 0.0;
    std::int32_t m_elements = 0;  // real numbers behind a pointer that can be written
};

// ---- How a type travels in a word

template <typename T>
struct QLWordOf {
    static std::uint64_t To(T value) {
        if constexpr (std::is_pointer_v<T>)
            return PointerWord(value);
        else if constexpr (std::is_same_v<T, double>)
            return ToFixed(value);
        else if constexpr (std::is_same_v<T, bool> || std::is_unsigned_v<T>)
            return value;
        else
            return IntegerWord(static_cast<std::int32_t>(value));
    }
    static T From(std::uint64_t word) {
        if constexpr (std::is_pointer_v<T>)
            return WordPointer<std::remove_pointer_t<T>>(word);
        else if constexpr (std::is_same_v<T, double>)
            return FromFixed(word);
        else if constexpr (std::is_same_v<T, bool>)
            return word != 0;
        else if constexpr (std::is_same_v<T, std::uint64_t>)
            return word;
        else if constexpr (std::is_same_v<T, std::uint16_t>)
            return ClampSample(WordInteger(word));
        else
            return static_cast<T>(WordInteger(word));
    }
};

// ---- Building rows

// One row of a class under construction: each function adds a fact and gives the row.
template <typename Owner>
class QLRowBuilder : public QLAttribRow {
  public:
    constexpr QLRowBuilder(QLAttribRole role, std::int32_t first, std::int32_t last) {
        m_role = role;
        m_first = first;
        m_last = last;
    }

    // A field: what is written or announced is kept there, and read from there. The field of a run
    // of ids is an array. The act follows a change.
    template <auto Member>
    constexpr QLRowBuilder Keeps() const {
        return Reads<Member>().template Puts<Member>();
    }
    // A field or a function, without or with the index in the run.
    template <auto Member>
    constexpr QLRowBuilder Reads() const {
        QLRowBuilder row = *this;
        row.m_get = [](void* owner, [[maybe_unused]] std::int32_t index) {
            Owner& self = *static_cast<Owner*>(owner);
            if constexpr (std::is_invocable_v<decltype(Member), Owner&, std::int32_t>)
                return Word((self.*Member)(index));
            else if constexpr (std::is_member_function_pointer_v<decltype(Member)>)
                return Word((self.*Member)());
            else if constexpr (std::is_array_v<FieldOf<Member>>)
                return Word((self.*Member)[index]);
            else
                return Word(self.*Member);
        };
        return row;
    }
    // The address of a field is read: a table, a rectangle, an object.
    template <auto Member>
    constexpr QLRowBuilder Points() const {
        QLRowBuilder row = *this;
        row.m_get = [](void* owner, std::int32_t) {
            return PointerWord(&(static_cast<Owner*>(owner)->*Member));
        };
        return row;
    }
    // The real numbers behind a written pointer are copied to a field, an array of them. Null
    // leaves the field as it is.
    template <auto Member>
    constexpr QLRowBuilder Copies() const {
        QLRowBuilder row = *this;
        row.m_elements = static_cast<std::int32_t>(std::extent_v<FieldOf<Member>>);
        row.m_put = [](void* owner, std::int32_t, std::uint64_t word) {
            const auto* numbers = WordPointer<const double>(word);
            auto& field = static_cast<Owner*>(owner)->*Member;
            if (numbers)
                std::copy_n(numbers, std::size(field), field);
            return numbers != nullptr;
        };
        return row;
    }
    // A function that takes what is written or announced; without an argument, it takes no note of
    // the value.
    template <auto Member>
    constexpr QLRowBuilder Writes() const {
        QLRowBuilder row = *this;
        row.m_put = [](void* owner, std::int32_t, std::uint64_t word) {
            Owner& self = *static_cast<Owner*>(owner);
            if constexpr (std::is_invocable_v<decltype(Member), Owner&>)
                (self.*Member)();
            else
                (self.*Member)(QLWordOf<typename ArgumentOf<decltype(Member)>::Type>::From(word));
            return true;
        };
        return row;
    }
    // The act that follows: a function without arguments.
    template <auto Member>
    constexpr QLRowBuilder Calls() const {
        QLRowBuilder row = *this;
        row.m_act = [](void* owner) { (static_cast<Owner*>(owner)->*Member)(); };
        return row;
    }
    // The act that follows: a flag is raised.
    template <auto Flag>
    constexpr QLRowBuilder Marks() const {
        QLRowBuilder row = *this;
        row.m_act = [](void* owner) { static_cast<Owner*>(owner)->*Flag = true; };
        return row;
    }
    // A provided id that is fired calls a function.
    template <auto Member>
    constexpr QLRowBuilder OnFire() const {
        QLRowBuilder row = *this;
        row.m_fired = [](void* owner) { (static_cast<Owner*>(owner)->*Member)(); };
        return row;
    }
    // An id that is fired behind the act.
    constexpr QLRowBuilder Fires(std::int32_t id) const {
        QLRowBuilder row = *this;
        row.m_fires = id;
        return row;
    }
    // What follows a change follows every write or announcement.
    constexpr QLRowBuilder Always() const {
        QLRowBuilder row = *this;
        row.m_always = true;
        return row;
    }
    constexpr QLRowBuilder LowByte() const {
        QLRowBuilder row = *this;
        row.m_lowByte = true;
        return row;
    }
    // What people may write; the participant sees to the rest itself.
    constexpr QLRowBuilder Range(double low, double high) const {
        QLRowBuilder row = *this;
        row.m_low = low;
        row.m_high = high;
        return row;
    }
    // The same, and a written integer is held within it.
    constexpr QLRowBuilder Clamps(double low, double high) const {
        QLRowBuilder row = Range(low, high);
        row.m_clamps = true;
        return row;
    }
    // A pointer to this many real numbers is written, and copied.
    constexpr QLRowBuilder Numbers(std::int32_t count) const {
        QLRowBuilder row = *this;
        row.m_elements = count;
        return row;
    }

  private:
    template <typename Function>
    struct ArgumentOf;
    template <typename Result, typename Class, typename Argument>
    struct ArgumentOf<Result (Class::*)(Argument)> {
        using Type = Argument;
    };
    template <auto Member>
    using FieldOf = std::remove_cvref_t<decltype(std::declval<Owner&>().*Member)>;

    template <typename T>
    static std::uint64_t Word(const T& value) {
        return QLWordOf<T>::To(value);
    }

    template <auto Member>
    constexpr QLRowBuilder Puts() const {
        QLRowBuilder row = *this;
        row.m_put = [](void* owner, std::int32_t index, std::uint64_t word) {
            Owner& self = *static_cast<Owner*>(owner);
            if constexpr (std::is_array_v<FieldOf<Member>>)
                return Store(&(self.*Member)[index], word);
            else
                return Store(&(self.*Member), word);
        };
        return row;
    }
    template <typename T>
    static bool Store(T* field, std::uint64_t word) {
        const T value = QLWordOf<T>::From(word);
        const bool changed = value != *field;
        *field = value;
        return changed;
    }
};

// Where the rows of a class begin.
template <typename Owner>
struct QLRowsOf {
    static constexpr QLRowBuilder<Owner> Provides(std::int32_t id) { return Provides(id, id); }
    static constexpr QLRowBuilder<Owner> Provides(std::int32_t first, std::int32_t last) {
        return {QLAttribRole::Provides, first, last};
    }
    static constexpr QLRowBuilder<Owner> Listens(std::int32_t id) { return Listens(id, id); }
    static constexpr QLRowBuilder<Owner> Listens(std::int32_t first, std::int32_t last) {
        return {QLAttribRole::Listens, first, last};
    }
    static constexpr QLRowBuilder<Owner> Answers(std::int32_t first, std::int32_t last) {
        return {QLAttribRole::Answers, first, last};
    }
    static constexpr QLRowBuilder<Owner> Follows(std::int32_t id) { return Follows(id, id); }
    static constexpr QLRowBuilder<Owner> Follows(std::int32_t first, std::int32_t last) {
        return {QLAttribRole::Follows, first, last};
    }
};

// ---- Answering from rows

// The rows that one participant has attached: one table for each class of its line of descent, base
// class first. Where two tables know an id, the later one answers.
class CQLAttribRows {
  public:
    // Registers and subscribes `store` by the rows; they are static, `owner` is borrowed.
    template <typename Owner>
    void Attach(CQLAttribStore& store, Owner* owner, std::span<const QLAttribRow> rows) {
        AttachTable(store, {owner, rows});
    }

    // The participant's three calls of the board. An id without a row reads 0 and takes nothing.
    std::uint64_t Get(std::int32_t id) const;
    void Set(CQLAttribStore& store, std::int32_t id, std::uint64_t value) const;
    void OnNotify(CQLAttribStore& store, std::int32_t id) const;

  private:
    struct Table {
        void* m_owner = nullptr;
        std::span<const QLAttribRow> m_rows;
    };
    static constexpr std::size_t kMostTables = 4;

    void AttachTable(CQLAttribStore& store, const Table& table);
    // The row of an id, and its owner; null when there is none.
    const QLAttribRow* Find(std::int32_t id, void** owner) const;

    std::array<Table, kMostTables> m_tables;
    std::size_t m_count = 0;
};
