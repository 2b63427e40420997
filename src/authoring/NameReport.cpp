#include "authoring/NameReport.h"

#include "base/Format.h"

namespace tovlark {

namespace {

struct TreeRow {
    NamingTree tree;
    TextView name;
    Text (*nameOf)(const ImageBuildContext& context, const CompilationNode& node);
};

constexpr TreeRow kTrees[] = {
    {NamingTree::Iso, u"ISO 9660",
     [](const ImageBuildContext& context, const CompilationNode& node) {
         return context.codePage.decode(node.isoName);
     }},
    {NamingTree::Joliet, u"Joliet",
     [](const ImageBuildContext&, const CompilationNode& node) { return Text(node.jolietName); }},
    {NamingTree::Udf, u"UDF",
     [](const ImageBuildContext& context, const CompilationNode& node) { return Text(context.udfNames.at(&node)); }},
};
static_assert(std::size(kTrees) == static_cast<std::size_t>(NamingTree::Count));

}  // namespace

void NameReport::add(NamingTree tree, const CompilationNode& node) {
    Changes& changes = changes_[static_cast<std::size_t>(tree)];
    ++changes.count;
    if (changes.first.size() < kLogged) changes.first.push_back(&node);
}

void NameReport::tell(Task& task, const ImageBuildContext& context) const {
    const Texts& texts = task.session.texts();
    Text counts;
    for (const TreeRow& row : kTrees) {
        const std::size_t count = changes_[static_cast<std::size_t>(row.tree)].count;
        if (count > 0) counts += FormatText(u"%s%s %s", {counts.empty() ? u"" : u", ", row.name, FormatGrouped(count)});
    }
    if (counts.empty()) return;
    Text line = texts.format(TextId::NamesCutOrNumbered, {counts});
    if (context.rockRidgeEnabled()) line.append(u" ").append(texts[TextId::RockRidgeHasAllNames]);
    task.session.printLine(line);
    task.log.append(line);
    for (const TreeRow& row : kTrees) {
        const Changes& changes = changes_[static_cast<std::size_t>(row.tree)];
        const auto log = [&](const Text& words) { task.log.append(FormatText(u"%s: %s", {row.name, words})); };
        for (const CompilationNode* node : changes.first)
            log(texts.format(TextId::NameChange, {PathInImage(*node), row.nameOf(context, *node)}));
        if (changes.count > changes.first.size())
            log(texts.format(TextId::MoreNamesWillChange, {changes.count - changes.first.size()}));
    }
}

}  // namespace tovlark
