// Attributes of the engine, written and listed by name.
#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/attrib_store.h"

// One write that stands on the command line: "NAME=VALUE" by name or number.
//
// Switches take true or false, numbers are held against the range of the attribute, real numbers
// are decimal fractions, rectangles "top,left,bottom,right", matrices their elements by rows with
// commas between them. Events take "fire".
class CAttributeWrite {
  public:
    // Nothing for an unknown name, an attribute that nothing takes, or a value that it can't take;
    // `error` names them and what is allowed.
    static std::optional<CAttributeWrite> Parse(std::string_view text, std::string* error);

    std::int32_t Id() const { return m_attrib->m_id; }
    // What the board carries for it; a pointer into this object for matrices and rectangles.
    std::uint64_t Word() const;
    // Writes to the board that `board` is attached to. Without effect for what a client has to
    // bring.
    void Apply(CQLAttribStore& board) const;
    bool IsClients() const;

  private:
    bool TakeValue(const std::string& value);
    bool TakeRect(const std::string& value);

    const QLAttribInfo* m_attrib = nullptr;
    std::uint64_t m_word = 0;
    std::vector<double> m_matrix;
    QLRect m_rect;
};

// Brings the attributes that stages hear of and nobody in an engine provides.
class CClientAttributes final : public CQLAttribStore {
  public:
    // `tree` outlives this object.
    explicit CClientAttributes(QLAttribTree* tree) : CQLAttribStore(tree) {}

    void Give(const CAttributeWrite& write);
    std::uint64_t GetAttrib(std::int32_t id) override;

  private:
    std::map<std::int32_t, CAttributeWrite> m_given;
};

// A table of all attributes with kind, the class that holds each, the value that it has on `board`
// and what may be written: "-" where nothing holds it, and nothing allowed where no write would
// have an effect. Without holder and allowed is what clients bring. Holders and ranges are those of
// the rows of the engine and its stages.
void ListAttributes(CQLAttribStore& board, std::ostream& out);
