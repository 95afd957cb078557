// What the declaration of an option tells: help, documents and completion are all made from it.
//
// Of a declaration count its names, its type name as the word for the value (FILE and DEVICE say
// what completes it), CLI::Range, CLI::IsMember and the words of choice_option.h, needs, excludes,
// required, the text of its default, and its group. A description repeats none of them, except that
// words of a choice which it explains by name aren't listed once more.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

struct COptionFacts {
    std::vector<std::string> m_names;  // "-o", "--output"; none of what has a place alone
    std::string m_value;  // the word for its value: "FILE", "N"; "[=N]" where it can be
                          // left out; none of a switch
    std::vector<std::string> m_words;  // known values
    std::string m_range;               // "0 to 5"
    std::string m_text;
    std::string m_notes;  // "0 to 5; default: 2"
    std::string m_group;
    bool m_hasPlace = false;  // goes by its place on the line, without a name
    bool m_isRequired = false;
    bool m_isFile = false;  // its value is the name of a file
    bool m_isDevice = false;
};

COptionFacts FactsOf(const CLI::Option& option);
// Those of a command that aren't hidden: what goes by its place first, then by groups, in which
// they stand as they were declared.
std::vector<COptionFacts> OptionsOf(const CLI::App& command);
// "nvqscan scan [OPTIONS] -o FILE [DEVICE]"
std::string UsageOf(const std::string& name, const CLI::App& command);
// "-o, --output FILE"
std::string NamesText(const COptionFacts& facts);
// The description, and the notes in square brackets.
std::string FullText(const COptionFacts& facts);

// Groups of options, in the order of --help.
inline constexpr char kGroupSource[] = "Source and size";
inline constexpr char kGroupPicture[] = "Picture";
inline constexpr char kGroupFiles[] = "Files";
inline constexpr char kGroupJob[] = "Job";
inline constexpr char kGroupOther[] = "Other";
