#include "app/drives/Table.h"

#include <algorithm>

namespace tovlark {

void Table::addRow(const Texts& texts, std::initializer_list<TextId> cells) {
    std::vector<Text> row;
    for (const TextId id : cells) row.emplace_back(texts[id]);
    addRow(std::move(row));
}

Text Table::page(TextView indent) const {
    std::vector<std::size_t> widths;
    for (const std::vector<Text>& row : rows_) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column + 1 < row.size(); ++column)
            widths[column] = std::max(widths[column], CountColumns(row[column]));
    }
    Text page;
    for (const std::vector<Text>& row : rows_) {
        Text line(indent);
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column];
            if (column + 1 < row.size()) line.append(widths[column] - CountColumns(row[column]) + 2, u' ');
        }
        line.erase(line.find_last_not_of(u' ') + 1);
        page += line + u"\n";
    }
    return page;
}

Text JoinWords(std::initializer_list<TextView> words) {
    Text line;
    for (const TextView word : words)
        if (!word.empty()) line.append(line.empty() ? u"" : u" ").append(word);
    return line;
}

}  // namespace tovlark
