// The layout of --help: 80 columns, options by groups, with what their declarations tell.
#pragma once

#include <memory>

namespace CLI {
class FormatterBase;
}

std::shared_ptr<CLI::FormatterBase> MakeHelpLayout();
