#include "tools/help_layout.h"

#include <CLI/CLI.hpp>
#include <sstream>

#include "tools/option_facts.h"

namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kCommandColumn = 16;
constexpr std::size_t kOptionColumn = 29;

// Breaks `text` between words; each line but the first begins at `column`, where the first is
// already.
std::string Wrapped(const std::string& text, std::size_t column) {
    std::istringstream words(text);
    std::string wrapped;
    std::size_t at = column;
    for (std::string word; words >> word;) {
        if (at > column && at + 1 + word.size() > kWidth) {
            wrapped += "\n" + std::string(column, ' ');
            at = column;
        } else if (at > column) {
            wrapped += ' ';
            ++at;
        }
        wrapped += word;
        at += word.size();
    }
    return wrapped + "\n";
}

// What is too long for its column has a line of its own.
std::string Row(const std::string& left, const std::string& text, std::size_t column) {
    std::string row = left;
    if (left.size() + 2 > column)
        row += "\n" + std::string(column, ' ');
    else
        row.append(column - left.size(), ' ');
    return row + Wrapped(text, column);
}

// Long names stand in a column of their own.
std::string LeftOf(const COptionFacts& facts) {
    const bool isLongOnly = !facts.m_hasPlace && facts.m_names.front().starts_with("--");
    return (isLongOnly ? "      " : "  ") + NamesText(facts);
}

class CHelpLayout : public CLI::FormatterBase {
  public:
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode /*mode*/) const override {
        std::string help = "Usage: " + UsageOf(name, *app) + "\n\n";
        help += Wrapped(app->get_description() + ".", 0);
        const auto commands =
            app->get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
        if (!commands.empty())
            help += "\nCommands:\n";
        for (const CLI::App* sub : commands)
            help += Row("  " + sub->get_name(), sub->get_description(), kCommandColumn);
        std::string group;
        for (const COptionFacts& facts : OptionsOf(*app)) {
            const std::string own = facts.m_hasPlace ? "Arguments" : facts.m_group;
            if (own != group)
                help += "\n" + own + ":\n";
            group = own;
            help += Row(LeftOf(facts), FullText(facts), kOptionColumn);
        }
        return app->get_footer().empty() ? help : help + "\n" + Wrapped(app->get_footer(), 0);
    }
};

}  // namespace

std::shared_ptr<CLI::FormatterBase> MakeHelpLayout() {
    return std::make_shared<CHelpLayout>();
}
