// The back end when memory runs out.
#include "tests/sane-backend/sane_rig.h"
#include "tests/support/failing_allocation.h"

namespace {

class SaneMemory : public CSaneTest {
  protected:
    // What a program does with a scanner, from the list to the end, up to the first failure. Takes
    // no memory of its own. `m_read` bytes of the page are in `m_page`.
    SANE_Status Use() {
        const SANE_Device** list = nullptr;
        SANE_Handle scanner = nullptr;
        m_read = 0;
        SANE_Status status = sane_get_devices(&list, SANE_TRUE);
        if (status == SANE_STATUS_GOOD)
            status = sane_open("", &scanner);
        if (status != SANE_STATUS_GOOD)
            return status;
        SANE_Word pressed = SANE_FALSE;
        status = sane_control_option(scanner, m_copy, SANE_ACTION_GET_VALUE, &pressed, nullptr);
        for (auto& [option, word] : m_set) {
            if (status == SANE_STATUS_GOOD)
                status =
                    sane_control_option(scanner, option, SANE_ACTION_SET_VALUE, &word, nullptr);
        }
        if (status == SANE_STATUS_GOOD)
            status = sane_start(scanner);
        for (SANE_Int read = 0; status == SANE_STATUS_GOOD; m_read += read)
            status = sane_read(scanner, m_page.data() + m_read,
                               static_cast<SANE_Int>(m_page.size()) - m_read, &read);
        sane_cancel(scanner);
        sane_close(scanner);
        return status;
    }
    Bytes Delivered() const { return {m_page.begin(), m_page.begin() + m_read}; }
    void ExpectUse(const Bytes& page) {
        EXPECT_EQ(Use(), SANE_STATUS_EOF);
        EXPECT_TRUE(Delivered() == page);
    }

    SANE_Int m_copy = 0;
    std::vector<std::pair<SANE_Int, SANE_Word>> m_set;
    Bytes m_page = Bytes(100000);
    SANE_Int m_read = 0;
};

TEST_F(SaneMemory, OneFailingAllocationIsToldAndAllWorksBehindIt) {
    LayAndOpenSane();
    ASSERT_EQ(sane_start(m_scanner), SANE_STATUS_GOOD);
    Bytes page;
    EXPECT_EQ(ReadRest(page), SANE_STATUS_EOF);
    m_copy = Option("copy");
    for (const char* name : {SANE_NAME_SCAN_RESOLUTION, SANE_NAME_SCAN_BR_X, SANE_NAME_SCAN_BR_Y})
        m_set.emplace_back(Option(name), Word(name));
    sane_close(m_scanner);
    ExpectUse(page);
    // Each of the first ones, and a part of the many behind them. The scanner has memory of its
    // own.
    bool happened = true;
    for (std::size_t which = 1; happened; which += 1 + which / 20) {
        SCOPED_TRACE(which);
        SANE_Status status = SANE_STATUS_GOOD;
        {
            const CFailingAllocation failing(which, false, true, SIMULATOR_MODULE);
            status = Use();
            happened = failing.Happened();
        }
        // What was only for people to read may be missing. A value of the registry that the driver
        // can't read is to it one that isn't there, and an error of the device to the program.
        EXPECT_TRUE(status == SANE_STATUS_NO_MEM || status == SANE_STATUS_IO_ERROR ||
                    (status == SANE_STATUS_EOF && Delivered() == page))
            << status;
        ExpectUse(page);
    }
}

}  // namespace
