#pragma once

#include <QHashFunctions>

class CategoryEntity;
class SnippetEntity;

// One selected row of Recently Deleted: a snippet or a category. Records are named by their
// address in the store's context rather than their id: every record has one, even those synced
// in without an id, and it never moves. Nothing reads through it before the store vouches for it
// (contains()), and selections are pruned on every save.
struct TrashSelection {
    SnippetEntity* snippet = nullptr; // exactly one of the two is set
    CategoryEntity* category = nullptr;

    static TrashSelection of(SnippetEntity* s) { return {s, nullptr}; }
    static TrashSelection of(CategoryEntity* c) { return {nullptr, c}; }
    bool isNull() const { return !snippet && !category; }
    friend bool operator==(const TrashSelection&, const TrashSelection&) = default;
};

inline size_t qHash(const TrashSelection& selection, size_t seed = 0)
{
    return qHashMulti(seed, selection.snippet, selection.category);
}
