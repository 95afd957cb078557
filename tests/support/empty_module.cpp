// A module that exports nothing.
namespace {
[[maybe_unused]] int g_nothing;
}
