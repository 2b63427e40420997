#pragma once

#include <initializer_list>
#include <vector>

#include "app/session/Texts.h"

namespace tovlark {

/// Rows of cells, set in columns that are as wide as their widest cell. The last cell of a row takes no padding.
class Table {
public:
    void addRow(std::vector<Text> cells) { rows_.push_back(std::move(cells)); }
    void addRow(const Texts& texts, std::initializer_list<TextId> cells);
    /// One line a row, each begun by `indent` and ended by LF.
    Text page(TextView indent = {}) const;

private:
    std::vector<std::vector<Text>> rows_;
};

/// The words that are not empty, with a blank between.
Text JoinWords(std::initializer_list<TextView> words);

}  // namespace tovlark
