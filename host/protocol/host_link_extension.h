// Links to parts of solids and the named selections that watch them, for code that doesn't link the
// module.

#pragma once

#include "db/od_db_object.h"

#include "protocol/host_part_map.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zemhost {

/// A link, or what is left of one in a selection.
struct HostLink
{
    OdDbObjectId link;        ///< null once its part has gone
    OdDbObjectId block;       ///< whose links it belongs to
    OdDbFullSubentPath path;  ///< what it names now; what it named if it has gone
    int tag = 0;              ///< its purpose; 0 for none
    bool isResolved = false;  ///< whether the way to the entity can be followed
    bool isThere = false;     ///< whether the entity has the part
    /// What the last edit that did more than renumber made of it.
    HostPartAnswer answer = HostPartAnswer::kExact;
    OdString cause;                        ///< that edit
    std::vector<OdDbSubentId> candidates;  ///< of an ambiguous one
    OdString selection;                    ///< that watches it; empty if none does
    std::size_t entry = 0;                 ///< its place there, from 0
};

/// How many links an edit has treated how.
struct HostRemapReport
{
    std::size_t stayed = 0;     ///< exact, under the same number
    std::size_t moved = 0;      ///< exact, under another number
    std::size_t split = 0;      ///< replaced by a link to each piece
    std::size_t merged = 0;     ///< lead to a part that took several in
    std::size_t gone = 0;       ///< taken away, and those that named no part before
    std::size_t ambiguous = 0;  ///< wait for `repair`
    std::size_t made = 0;       ///< new links, for pieces and in place of several

    std::size_t total() const noexcept
    {
        return stayed + moved + split + merged + gone + ambiguous;
    }
};

/// What a check found.
struct HostLinkFinding
{
    OdDbObjectId object;   ///< the link, manager or selection
    OdString problem;      ///< in words, lower case, without final stop
    bool isDamage = true;  ///< false for what an edit has left undecided
};

/// Makes links, carries them through edits and repairs them.
///
/// `zemhost_extensions.tx`, which links the module, attaches the one implementation to
/// `OdDbDatabase::desc()`. Changes are part of undo; each operation that changes something is one
/// undo record of its own only if the caller starts one.
///
/// A **selection** has a name in its block, without case, and watches links: only watched links are
/// split and merged, others keep naming one part or none.
class HostLinkExtension : public OdRxObject
{
    RX_DECLARE_CLASS(HostLinkExtension);

public:
    /// All links of the drawing, once for each entry of a selection that watches them, and what
    /// selections keep of links that have gone; block by block, in order of creation.
    virtual std::vector<HostLink> links(OdDbDatabase& database) const = 0;
    /// Makes links for paths, or takes those that are there, and adds them to a selection, which is
    /// made if there is none.
    ///
    /// \param block      The block of the first object of each path.
    /// \param selection  Not empty.
    /// \return The links in order of paths; paths that name nothing are left out.
    virtual OdDbObjectIdArray add(OdDbObjectId block, OdString const& selection,
                                  std::vector<OdDbFullSubentPath> const& paths) const = 0;
    /// Follows an edit of a solid, whose body is the new one already: renumbers, splits, merges and
    /// removes links, tells features and selections.
    ///
    /// \param map    What became of each part of the solid before.
    /// \param cause  The edit in words, kept as the cause of answers.
    /// \throws OdError  What the platform throws; the caller undoes.
    virtual HostRemapReport remap(OdDbObjectId solid, HostPartMap const& map,
                                  OdString const& cause) const = 0;
    /// Checks every link, manager and selection. Changes nothing.
    virtual std::vector<HostLinkFinding> verify(OdDbDatabase& database) const = 0;
    /// Mends what needs no decision: forgets links that lead nowhere, attaches all others to the
    /// objects that they name, and lets links go that nothing watches.
    ///
    /// \return How many links were taken away.
    virtual std::size_t audit(OdDbDatabase& database) const = 0;
    /// Lets an entry of a selection name a part. The answer becomes exact, and what was is kept for
    /// `takeBack`. Others who watch the same link keep it as it is.
    ///
    /// \param entry  Place in the selection, from 0.
    /// \return 0; (key not found) without such an entry, (invalid input) for a path that names
    ///         nothing or that another entry has. No selection has changed then.
    virtual OdResult repair(OdDbObjectId block, OdString const& selection, std::size_t entry,
                            OdDbFullSubentPath const& path) const = 0;
    /// Takes the last repair of an entry back.
    /// \return 0; (key not found) without such an entry, (not applicable) if it was never repaired.
    virtual OdResult takeBack(OdDbObjectId block, OdString const& selection,
                              std::size_t entry) const = 0;
    /// Takes an entry out of a selection; its link goes if nothing else watches it, and the selection
    /// with its last entry.
    /// \return 0; (key not found) without such an entry.
    virtual OdResult remove(OdDbObjectId block, OdString const& selection,
                            std::size_t entry) const = 0;
};

}  // namespace zemhost
