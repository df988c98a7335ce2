// A drawing with solids, links and watchers, edited side by side with a model that knows which part
// every watcher and link has to name.

#pragma once

#include "link_test_support.h"
#include "zem_dependencies_replacement_map.h"

#include <compare>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace link_test {

using Handle = std::uint64_t;

/// Numbers that decide what happens: the same numbers give the same run, in any process.
class Choices
{
public:
    explicit Choices(std::vector<std::uint8_t> numbers) : m_numbers(std::move(numbers)) {}

    bool isAtEnd() const noexcept { return m_at >= m_numbers.size(); }
    /// A number below `bound`, which is above 0; 0 when there are no more.
    std::size_t below(std::size_t bound) { return isAtEnd() ? 0 : m_numbers[m_at++] % bound; }
    bool flip() { return below(2) == 1; }

private:
    std::vector<std::uint8_t> m_numbers;
    std::size_t m_at = 0;
};

/// Where links lead: a solid, perhaps through a block reference.
struct Place
{
    Handle reference = 0;  ///< 0 for none
    Handle solid = 0;

    friend auto operator<=>(Place const&, Place const&) = default;
};

/// One part of a solid, by its true name.
struct Item
{
    Place place;
    int kind = 0;
    std::int32_t name = 0;

    friend auto operator<=>(Item const&, Item const&) = default;
};

/// What becomes of a solid's parts in one edit.
struct Edit
{
    /// One new part.
    struct Part
    {
        std::int32_t name;
        std::set<std::size_t> sources;  ///< places of the old parts that it is made of, from 0
    };
    using Kinds = std::array<std::vector<Part>, kKinds>;

    Kinds kinds;  ///< the new parts by number

    static Edit unchanged(TestSolid::Parts const& parts);
    TestSolid::Parts parts() const;
    /// Numbers of the new parts, from 1, that an old number has become.
    std::vector<std::int64_t> successors(int kind, std::int64_t oldNumber) const;
};

/// The truth about one block.
struct Home
{
    Handle block = 0;
    std::vector<Place> places;
    std::map<Handle, std::set<Item>> watchers;  ///< what each has to name
    std::map<Handle, Item> unwatched;           ///< what each link without a watcher has to name
};

struct Model
{
    std::vector<Home> homes;
};

/// How an edit is brought to the links.
struct RemapStyle
{
    bool splitsFirst = false;  ///< `split` before `updatePairs`
    bool isSecond = false;     ///< `finishRemap2` in place of `finishRemap`
    bool erases = true;        ///< links that are replaced or removed are erased afterwards
};

/// The drawing and its model. All operations keep both in step; `check` compares them.
class NamingWorld
{
public:
    /// A block with two solids and a reference to a block with a third one.
    NamingWorld(LinkScope& scope, int partCount);
    ~NamingWorld();
    NamingWorld(NamingWorld const&) = delete;
    NamingWorld& operator=(NamingWorld const&) = delete;

    Model const& model() const noexcept { return m_model; }
    Home const& home(std::size_t at = 0) const { return m_model.homes.at(at); }
    OdDbDatabase& database() const noexcept { return *m_db; }
    OdDbObjectId idOf(Handle handle) const;
    ManagerPtr manager(std::size_t home, OdDb::OpenMode mode = OdDb::kForRead) const;
    TestSolid::Parts partsOf(Handle solid) const;
    /// A name that no part has had.
    std::int32_t freshName() noexcept { return ++m_lastName; }

    /// \name Operations, each with an undo mark in front
    /// @{
    /// Links items and has a watcher hold them.
    /// \param watcher  0 for a new one.
    /// \return The watcher.
    Handle watch(std::size_t home, Handle watcher, std::vector<Item> const& items);
    /// Links items without anybody watching.
    void link(std::size_t home, std::vector<Item> const& items);
    /// Lets a watcher give an item up; its link stays.
    void unwatch(std::size_t home, Handle watcher, Item const& item);
    /// Removes the links that nobody watches.
    void removeUnused(std::size_t home);
    /// Edits a solid and everything that leads to it.
    void edit(Handle solid, Edit const& edit, RemapStyle style = {});
    /// Edits a solid in a transaction that is taken back.
    void editInVain(Handle solid, Edit const& edit, RemapStyle style = {});
    /// Puts another solid with the same parts, numbered otherwise, in place of one.
    void replace(Handle solid, Edit const& renumbering, RemapStyle style = {});
    /// Erases a solid and removes its links.
    void erase(Handle solid);
    /// Clones a block; its links and watchers come along.
    void cloneHome(std::size_t home);
    /// @}

    bool canUndo() const noexcept { return !m_undoable.empty(); }
    bool canRedo() const noexcept { return !m_redoable.empty(); }
    void undo();
    void redo();
    /// Saves, closes and opens the drawing; nothing can be undone then.
    void saveAndReopen();
    /// Writes a block to a drawing of its own, and compares that with the model.
    std::vector<std::string> checkWritten(std::size_t home);
    /// All differences between the drawing and the model, in words.
    std::vector<std::string> check() const;
    /// How many answers were compared so far.
    std::size_t answerCount() const noexcept { return m_answers; }

private:
    class HomeCheck;

    Handle addBlockOfSolids(int partCount);
    TestSolid::Parts freshParts(int count);
    void begin();
    void editNow(Handle solid, Edit const& edit, OdDbObjectId target, RemapStyle style);
    void remapHome(Home& home, Handle solid, Edit const& edit, OdDbObjectId target,
                   RemapStyle style);
    void follow(Home& home, ZemDependenciesReplacementMap const& map,
                OdDbObjectIdArray const& removed, bool erases);
    Handle newWatcher(Home const& home);
    OdDbFullSubentPath pathOfItem(Item const& item) const;

    LinkScope& m_scope;
    OdDbDatabasePtr m_db;
    Model m_model;
    std::vector<Model> m_undoable;
    std::vector<Model> m_redoable;
    std::int32_t m_lastName = 0;
    Handle m_ticker = 0;  ///< is changed by every operation, so that there is something to undo
    std::filesystem::path m_file;
    mutable std::size_t m_answers = 0;
};

/// Draws items of a block.
std::vector<Item> anyItems(NamingWorld const& world, Home const& home, std::size_t count,
                           Choices& choices);
/// Draws an edit: any mix of splitting, merging, deleting, adding and renumbering.
Edit anyEdit(NamingWorld& world, TestSolid::Parts const& parts, Choices& choices);
/// Draws a renumbering that keeps every part.
Edit anyRenumbering(TestSolid::Parts const& parts, Choices& choices);
/// Does one operation that the numbers choose.
void anyOperation(NamingWorld& world, LinkScope& scope, Choices& choices);

}  // namespace link_test
