// Names of the files that a job's pages go to.
#pragma once

#include <cstddef>
#include <string>

// "page-%03d.png" stands for page-001.png and so on: one '%d', with a width if wanted; "%%" is a
// '%'. A name without is a single file.
class CPageName {
  public:
    explicit CPageName(std::string pattern);

    // One file a page.
    bool IsNumbered() const { return m_isNumbered; }
    // Has a '%' that means nothing: such a name can't be used at all.
    bool IsFaulty() const { return m_isFaulty; }
    std::string ForPage(int page) const;

  private:
    std::string m_before;
    std::string m_after;
    std::size_t m_width = 0;
    bool m_isNumbered = false;
    bool m_isFaulty = false;
};
