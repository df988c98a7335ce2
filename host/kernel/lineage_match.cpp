#include "kernel/item_geometry_impl.h"
#include "kernel/lineage_match_impl.h"

#include <gp_XYZ.hxx>

#include <algorithm>
#include <map>
#include <numeric>
#include <optional>
#include <utility>

namespace zemhost {

namespace {

std::size_t slot(SubentKind kind)
{
    return static_cast<std::size_t>(kind);
}

std::size_t at(int index)
{
    return static_cast<std::size_t>(index);
}

bool contains(const std::vector<int>& sorted, int value)
{
    return std::binary_search(sorted.begin(), sorted.end(), value);
}

/// What is known so far of an old item. Targets are by number less one.
struct Finding
{
    enum class State
    {
        kOpen,
        kKnown,      ///< targets are certain; none if it is gone
        kAmbiguous,  ///< targets are candidates
    };

    State state = State::kOpen;
    std::vector<int> targets;

    friend bool operator==(const Finding&, const Finding&) = default;
};

/// Items of one kind on both sides that share origins, by number less one.
struct Group
{
    SubentKind kind = SubentKind::kFace;
    std::vector<int> olds;
    std::vector<int> news;
    bool isRestless = false;  ///< too large to vote on, or votes never came to rest
};

/// Votes for one pair of a group.
struct Votes
{
    int all = 0;
    int ofSplitters = 0;  ///< by neighbours that came with the step that split the items
};

/// The votes for all pairs of a group.
class Ballot
{
public:
    Ballot(std::size_t olds, std::size_t news) : m_news(news), m_votes(olds * news) {}

    Votes& of(std::size_t old, std::size_t found) { return m_votes[old * m_news + found]; }
    const Votes& of(std::size_t old, std::size_t found) const
    {
        return m_votes[old * m_news + found];
    }

    std::size_t olds() const { return m_votes.size() / m_news; }
    std::size_t news() const { return m_news; }

private:
    std::size_t m_news;
    std::vector<Votes> m_votes;
};

/// Old and new items of a group that votes join, by their places in the group.
struct Cluster
{
    std::vector<std::size_t> olds;
    std::vector<std::size_t> news;

    bool isClear() const
    {
        return !olds.empty() && !news.empty() && (olds.size() == 1 || news.size() == 1);
    }
    bool isContested() const { return olds.size() > 1 && news.size() > 1; }
};

class DisjointSets
{
public:
    explicit DisjointSets(std::size_t count) : m_parents(count)
    {
        std::iota(m_parents.begin(), m_parents.end(), std::size_t{0});
    }

    std::size_t find(std::size_t item)
    {
        while (m_parents[item] != item) {
            m_parents[item] = m_parents[m_parents[item]];
            item = m_parents[item];
        }
        return item;
    }

    void join(std::size_t first, std::size_t second) { m_parents[find(first)] = find(second); }

private:
    std::vector<std::size_t> m_parents;
};

/// Takes a group apart into clusters that no counted vote joins.
template <typename Counts>
std::vector<Cluster> clustersOf(const Ballot& ballot, Counts&& counts)
{
    const std::size_t olds = ballot.olds();
    DisjointSets sets(olds + ballot.news());
    for (std::size_t old = 0; old < olds; ++old) {
        for (std::size_t found = 0; found < ballot.news(); ++found) {
            if (counts(ballot.of(old, found))) {
                sets.join(old, olds + found);
            }
        }
    }
    std::map<std::size_t, Cluster> clusters;
    for (std::size_t old = 0; old < olds; ++old) {
        clusters[sets.find(old)].olds.push_back(old);
    }
    for (std::size_t found = 0; found < ballot.news(); ++found) {
        clusters[sets.find(olds + found)].news.push_back(found);
    }
    std::vector<Cluster> result;
    for (auto& [root, cluster] : clusters) {
        result.push_back(std::move(cluster));
    }
    return result;
}

bool countsAny(const Votes& votes)
{
    return votes.all > 0;
}

bool countsSplitters(const Votes& votes)
{
    return votes.ofSplitters > 0;
}

//--------------------------------------------------------------------------------------------------

/// Matching of two solids by origin; see matchByOrigin.
class OriginMatch
{
public:
    OriginMatch(const OriginTable& table, const KnownSolid& before, const KnownSolid& after)
        : m_table(table), m_before(before), m_after(after)
    {
        for (const SubentKind kind : kSubentKinds) {
            m_findings[slot(kind)].resize(before.origins[slot(kind)].size());
            m_isTaken[slot(kind)].resize(after.origins[slot(kind)].size());
            makeGroups(kind);
        }
    }

    SubentMap run(std::string cause)
    {
        settleSimpleGroups();
        for (int level = kUnanimous; level <= kGeometry; ++level) {
            settleGroups(static_cast<Level>(level));
        }
        settleRest();
        findRenamed();
        return makeMap(std::move(cause));
    }

private:
    using State = Finding::State;

    /// What is taken for evidence, the strictest first; each level allows those before it too.
    enum Level
    {
        kUnanimous,  ///< every item of a group has votes, and none contradicts another
        kClear,      ///< what has votes that none contradicts
        kSplitters,  ///< votes of the step that split the items, against others
        kGeometry,   ///< the arrangement of items without votes
    };

    Finding& finding(SubentKind kind, int old) { return m_findings[slot(kind)][at(old)]; }
    const Finding& finding(SubentKind kind, int old) const
    {
        return m_findings[slot(kind)][at(old)];
    }

    //----------------------------------------------------------------------------------------------
    // Groups

    void makeGroups(SubentKind kind)
    {
        const std::vector<ItemOrigin>& olds = m_before.origins[slot(kind)];
        const std::vector<ItemOrigin>& news = m_after.origins[slot(kind)];
        DisjointSets origins(m_table.size());
        for (const auto* items : {&olds, &news}) {
            for (const ItemOrigin& item : *items) {
                for (const OriginId id : item.ids) {
                    origins.join(id, item.ids.front());
                }
            }
        }
        std::map<std::size_t, Group> groups;
        for (std::size_t index = 0; index < olds.size(); ++index) {
            groups[origins.find(olds[index].ids.front())].olds.push_back(static_cast<int>(index));
        }
        for (std::size_t index = 0; index < news.size(); ++index) {
            groups[origins.find(news[index].ids.front())].news.push_back(static_cast<int>(index));
        }
        for (auto& [root, group] : groups) {
            group.kind = kind;
            m_groups.push_back(std::move(group));
        }
    }

    /// Groups with at most one old item, or without new ones, need no votes. Of several old items
    /// with one new, some may be gone.
    void settleSimpleGroups()
    {
        constexpr std::size_t kMostPairs = 4'000'000;
        std::vector<Group> open;
        for (Group& group : m_groups) {
            if (!group.news.empty() && group.olds.size() > 1) {
                group.isRestless = group.olds.size() * group.news.size() > kMostPairs;
                open.push_back(std::move(group));
                continue;
            }
            for (const int old : group.olds) {
                finding(group.kind, old) = {State::kKnown, group.news};
                take(group.kind, group.news);
            }
        }
        m_groups = std::move(open);
    }

    void take(SubentKind kind, const std::vector<int>& news)
    {
        for (const int item : news) {
            m_isTaken[slot(kind)][at(item)] = true;
        }
    }

    //----------------------------------------------------------------------------------------------
    // Votes

    Ballot vote(const Group& group) const
    {
        Ballot ballot(group.olds.size(), group.news.size());
        for (const SubentKind kind : kSubentKinds) {
            if (kind == group.kind) {
                continue;
            }
            for (std::size_t place = 0; place < group.olds.size(); ++place) {
                const auto neighbours = m_before.incidence.of(group.kind, group.olds[place], kind);
                for (const int neighbour : neighbours) {
                    voteBy(group, place, kind, neighbour, ballot);
                }
            }
        }
        return ballot;
    }

    /// A neighbour votes if it touches no other item of the group, and so do its targets.
    void voteBy(const Group& group, std::size_t place, SubentKind kind, int neighbour,
                Ballot& ballot) const
    {
        const Finding& known = finding(kind, neighbour);
        if (known.state != State::kKnown ||
            onlyTouched(m_before.incidence.of(kind, neighbour, group.kind), group.olds) !=
                static_cast<std::ptrdiff_t>(place)) {
            return;
        }
        const bool isSplitter = cameWithSplit(group, place, kind, neighbour);
        for (const int target : known.targets) {
            const std::ptrdiff_t found =
                onlyTouched(m_after.incidence.of(kind, target, group.kind), group.news);
            if (found < 0) {
                continue;
            }
            Votes& votes = ballot.of(place, static_cast<std::size_t>(found));
            ++votes.all;
            votes.ofSplitters += isSplitter ? 1 : 0;
        }
    }

    /// The place of the one item of a group among some neighbours; -1 if there are none or several.
    static std::ptrdiff_t onlyTouched(std::span<const int> touched, const std::vector<int>& items)
    {
        std::ptrdiff_t found = -1;
        for (const int item : touched) {
            const auto place = std::lower_bound(items.begin(), items.end(), item);
            if (place == items.end() || *place != item) {
                continue;
            }
            if (found >= 0) {
                return -1;
            }
            found = place - items.begin();
        }
        return found;
    }

    bool cameWithSplit(const Group& group, std::size_t place, SubentKind kind, int neighbour) const
    {
        const std::vector<std::uint32_t>& steps =
            m_before.origins[slot(group.kind)][at(group.olds[place])].splitBy;
        const std::vector<OriginId>& ids = m_before.origins[slot(kind)][at(neighbour)].ids;
        return std::any_of(ids.begin(), ids.end(), [&](OriginId id) {
            return std::binary_search(steps.begin(), steps.end(), m_table.stepOf(id));
        });
    }

    //----------------------------------------------------------------------------------------------
    // Evidence

    /// Works every group out anew from what is known of the neighbours, until nothing changes: so the
    /// outcome doesn't hang on the order of groups. What doesn't come to rest is ambiguous.
    void settleGroups(Level level)
    {
        constexpr int kMostRounds = 50;
        bool isChanged = true;
        for (int round = 0; isChanged; ++round) {
            isChanged = false;
            for (Group& group : m_groups) {
                const bool differs = !group.isRestless && store(group, findingsOf(group, level));
                isChanged = isChanged || differs;
                group.isRestless = group.isRestless || (differs && round >= kMostRounds);
            }
        }
    }

    /// \return Whether anything differs from what was known.
    bool store(const Group& group, const std::vector<Finding>& found)
    {
        bool isChanged = false;
        for (std::size_t place = 0; place < found.size(); ++place) {
            Finding& known = finding(group.kind, group.olds[place]);
            isChanged = isChanged || known != found[place];
            known = found[place];
        }
        return isChanged;
    }

    std::vector<Finding> findingsOf(const Group& group, Level level) const
    {
        const Ballot ballot = vote(group);
        const std::vector<Cluster> clusters = clustersOf(ballot, countsAny);
        const bool isUnanimous = std::all_of(clusters.begin(), clusters.end(),
                                             [](const Cluster& one) { return one.isClear(); });
        std::vector<Finding> findings(group.olds.size());
        if (!isUnanimous && level == kUnanimous) {
            return findings;
        }
        bool isContested = false;
        for (const Cluster& cluster : clusters) {
            if (cluster.isClear()) {
                know(group, cluster, findings);
            }
            if (cluster.isContested() && level >= kSplitters) {
                knowBySplitters(group, ballot, cluster, findings);
            }
            isContested = isContested || cluster.isContested();
        }
        if (level >= kGeometry && !isContested) {
            knowByGeometry(group, loners(clusters), findings);
        }
        return findings;
    }

    static void know(const Group& group, const Cluster& cluster, std::vector<Finding>& findings)
    {
        std::vector<int> targets;
        for (const std::size_t place : cluster.news) {
            targets.push_back(group.news[place]);
        }
        std::sort(targets.begin(), targets.end());
        for (const std::size_t place : cluster.olds) {
            findings[place] = {State::kKnown, targets};
        }
    }

    /// The items without votes.
    static Cluster loners(const std::vector<Cluster>& clusters)
    {
        Cluster result;
        for (const Cluster& cluster : clusters) {
            const bool isAlone = cluster.olds.empty() || cluster.news.empty();
            if (isAlone) {
                result.olds.insert(result.olds.end(), cluster.olds.begin(), cluster.olds.end());
                result.news.insert(result.news.end(), cluster.news.begin(), cluster.news.end());
            }
        }
        return result;
    }

    /// The step that split the items tells its pieces apart, whatever else moved from one piece to
    /// the other; each pair must have other votes too, or nobody else has any.
    static void knowBySplitters(const Group& group, const Ballot& ballot, const Cluster& contested,
                                std::vector<Finding>& findings)
    {
        for (const Cluster& cluster : clustersOf(ballot, countsSplitters)) {
            const bool isInside =
                cluster.isClear() &&
                std::count(contested.olds.begin(), contested.olds.end(), cluster.olds.front()) > 0;
            if (isInside && isSupported(ballot, contested, cluster)) {
                know(group, cluster, findings);
            }
        }
    }

    static bool isSupported(const Ballot& ballot, const Cluster& contested, const Cluster& cluster)
    {
        const auto others = [&ballot](std::size_t old, std::size_t found) {
            return ballot.of(old, found).all - ballot.of(old, found).ofSplitters;
        };
        bool hasElsewhere = false;
        for (const std::size_t old : cluster.olds) {
            for (const std::size_t found : contested.news) {
                hasElsewhere = hasElsewhere || others(old, found) > 0;
            }
        }
        return !hasElsewhere ||
               std::all_of(cluster.olds.begin(), cluster.olds.end(), [&](std::size_t old) {
                   return std::any_of(cluster.news.begin(), cluster.news.end(),
                                      [&](std::size_t found) { return others(old, found) > 0; });
               });
    }

    //----------------------------------------------------------------------------------------------
    // Geometry among the items of a group

    static std::vector<ItemMark> marksOf(const ItemNumbers& numbers, SubentKind kind,
                                         const std::vector<int>& items,
                                         const std::vector<std::size_t>& places)
    {
        std::vector<ItemMark> marks;
        for (const std::size_t place : places) {
            marks.push_back(markOf(numbers.of(kind)(items[place] + 1), kind));
        }
        return marks;
    }

    void knowByGeometry(const Group& group, const Cluster& loners,
                        std::vector<Finding>& findings) const
    {
        const std::vector<ItemMark> olds =
            marksOf(m_before.numbers, group.kind, group.olds, loners.olds);
        const std::vector<ItemMark> news =
            marksOf(m_after.numbers, group.kind, group.news, loners.news);
        std::vector<Cluster> pairs = samePlaces(olds, news);
        if (pairs.size() < olds.size() && olds.size() == news.size()) {
            std::vector<Cluster> moved = sameArrangement(olds, news);
            if (pairs.empty() || contradict(pairs, moved)) {
                // Items that move by their own pitch lie where others lay: neither is clear then.
                pairs = pairs.empty() ? std::move(moved) : std::vector<Cluster>();
            }
        }
        for (const Cluster& pair : pairs) {
            know(group, {{loners.olds[pair.olds.front()]}, {loners.news[pair.news.front()]}},
                 findings);
        }
    }

    /// Whether two lists pair an old item with different new ones.
    static bool contradict(const std::vector<Cluster>& some, const std::vector<Cluster>& others)
    {
        return std::any_of(some.begin(), some.end(), [&others](const Cluster& pair) {
            return std::any_of(others.begin(), others.end(), [&pair](const Cluster& other) {
                return pair.olds.front() == other.olds.front() &&
                       pair.news.front() != other.news.front();
            });
        });
    }

    /// Items that lie where they lay, each alone there.
    static std::vector<Cluster> samePlaces(const std::vector<ItemMark>& olds,
                                           const std::vector<ItemMark>& news)
    {
        std::vector<Cluster> pairs;
        for (std::size_t old = 0; old < olds.size(); ++old) {
            Cluster pair;
            for (std::size_t other = 0; other < olds.size(); ++other) {
                if (isSameMark(olds[old], olds[other])) {
                    pair.olds.push_back(other);
                }
            }
            for (std::size_t found = 0; found < news.size(); ++found) {
                if (isSameMark(olds[old], news[found])) {
                    pair.news.push_back(found);
                }
            }
            if (pair.olds.size() == 1 && pair.news.size() == 1) {
                pairs.push_back(pair);
            }
        }
        return pairs;
    }

    static gp_XYZ middleOf(const std::vector<ItemMark>& marks)
    {
        gp_XYZ sum;
        for (const ItemMark& mark : marks) {
            sum += mark.centre.XYZ();
        }
        return sum / static_cast<double>(marks.size());
    }

    /// Pairs of items that lie alike among their fellows; all of them, or none.
    static std::vector<Cluster> sameArrangement(const std::vector<ItemMark>& olds,
                                                const std::vector<ItemMark>& news)
    {
        const gp_XYZ shift = middleOf(news) - middleOf(olds);
        std::vector<Cluster> pairs;
        std::vector<std::size_t> taken;
        for (std::size_t old = 0; old < olds.size(); ++old) {
            const std::optional<std::size_t> found =
                clearlyNearest(olds[old].centre.XYZ() + shift, news);
            const std::optional<std::size_t> back =
                found ? clearlyNearest(news[*found].centre.XYZ() - shift, olds) : std::nullopt;
            if (!found || back != old) {
                return {};
            }
            pairs.push_back({{old}, {*found}});
        }
        return olds.size() > 1 ? pairs : std::vector<Cluster>();
    }

    /// The nearest of some items, if the second nearest is several times as far away.
    static std::optional<std::size_t> clearlyNearest(const gp_XYZ& place,
                                                     const std::vector<ItemMark>& marks)
    {
        constexpr double kClearly = 4;
        std::optional<std::size_t> nearest;
        double least = 0;
        double second = 0;
        for (std::size_t index = 0; index < marks.size(); ++index) {
            const double distance = (marks[index].centre.XYZ() - place).Modulus();
            if (!nearest || distance < least) {
                second = nearest ? least : second;
                least = distance;
                nearest = index;
            } else if (index == 1 || distance < second) {
                second = distance;
            }
        }
        return marks.size() > 1 && second > kClearly * least ? nearest : std::nullopt;
    }

    //----------------------------------------------------------------------------------------------
    // What is left

    void settleRest()
    {
        for (const Group& group : m_groups) {
            const std::vector<bool> mayLive =
                group.isRestless ? std::vector<bool>() : mayLiveOn(group);
            for (std::size_t place = 0; place < group.olds.size(); ++place) {
                Finding& found = finding(group.kind, group.olds[place]);
                if (group.isRestless || (found.state == State::kOpen && mayLive[place])) {
                    found = {State::kAmbiguous, group.news};
                }
                take(group.kind, found.targets);
            }
        }
        settleVanished();
    }

    /// Whether an open item may be one of the new ones: it has votes, or there is a new item that
    /// nothing is known of.
    std::vector<bool> mayLiveOn(const Group& group) const
    {
        const Ballot ballot = vote(group);
        std::vector<int> known;
        for (const int old : group.olds) {
            const std::vector<int>& targets = finding(group.kind, old).targets;
            known.insert(known.end(), targets.begin(), targets.end());
        }
        std::sort(known.begin(), known.end());
        std::vector<bool> result(group.olds.size(), false);
        for (std::size_t old = 0; old < group.olds.size(); ++old) {
            for (std::size_t found = 0; found < group.news.size(); ++found) {
                const bool isFree = !contains(known, group.news[found]);
                result[old] = result[old] || isFree || countsAny(ballot.of(old, found));
            }
        }
        return result;
    }

    /// Items whose fellows live on, and that nothing speaks for: gone, unless they touch an item that
    /// may live on.
    void settleVanished()
    {
        bool isChanged = true;
        while (isChanged) {
            isChanged = false;
            for (const Group& group : m_groups) {
                for (const int old : group.olds) {
                    isChanged = doubt(group, old) || isChanged;
                }
            }
        }
        for (const SubentKind kind : kSubentKinds) {
            for (Finding& found : m_findings[slot(kind)]) {
                found.state = found.state == State::kOpen ? State::kKnown : found.state;
            }
        }
    }

    bool doubt(const Group& group, int old)
    {
        Finding& found = finding(group.kind, old);
        if (found.state != State::kOpen || !touchesAmbiguous(group.kind, old)) {
            return false;
        }
        found = {State::kAmbiguous, group.news};
        take(group.kind, group.news);
        return true;
    }

    bool touchesAmbiguous(SubentKind kind, int old) const
    {
        for (const SubentKind other : kSubentKinds) {
            if (other == kind) {
                continue;
            }
            for (const int neighbour : m_before.incidence.of(kind, old, other)) {
                if (finding(other, neighbour).state == State::kAmbiguous) {
                    return true;
                }
            }
        }
        return false;
    }

    //----------------------------------------------------------------------------------------------
    // Items whose origin has another name

    /// An edge or vertex that is gone, where a new one without a source touches exactly what became
    /// of its neighbours, is that one: faces that were joined or parted before they met gave the
    /// meeting another origin.
    void findRenamed()
    {
        for (const SubentKind kind : {SubentKind::kVertex, SubentKind::kEdge}) {
            for (std::size_t old = 0; old < m_findings[slot(kind)].size(); ++old) {
                Finding& found = m_findings[slot(kind)][old];
                if (found.state == State::kKnown && found.targets.empty()) {
                    findRenamed(kind, static_cast<int>(old), found);
                }
            }
        }
    }

    void findRenamed(SubentKind kind, int old, Finding& found)
    {
        std::optional<std::vector<int>> candidates;
        for (const SubentKind other : kSubentKinds) {
            if (other != kind && !narrow(kind, old, other, candidates)) {
                return;
            }
        }
        if (!candidates.has_value() || candidates->size() != 1) {
            return;
        }
        const int target = candidates->front();
        if (m_isTaken[slot(kind)][at(target)] || !isOnlyMeeting(kind, old)) {
            return;
        }
        found.targets = {target};
        m_isTaken[slot(kind)][at(target)] = true;
    }

    /// Keeps of the candidates those that touch the images of all neighbours of one kind.
    /// \return False if a neighbour doesn't live on alone.
    bool narrow(SubentKind kind, int old, SubentKind other,
                std::optional<std::vector<int>>& candidates) const
    {
        for (const int neighbour : m_before.incidence.of(kind, old, other)) {
            const Finding& known = finding(other, neighbour);
            if (known.state != State::kKnown || known.targets.size() != 1) {
                return false;
            }
            const auto touched = m_after.incidence.of(other, known.targets.front(), kind);
            if (!candidates.has_value()) {
                candidates.emplace(touched.begin(), touched.end());
                continue;
            }
            std::erase_if(*candidates, [&touched](int one) {
                return !std::binary_search(touched.begin(), touched.end(), one);
            });
        }
        return true;
    }

    /// Whether no other old item of the kind touches all that an item touches.
    bool isOnlyMeeting(SubentKind kind, int old) const
    {
        std::optional<std::vector<int>> meetings;
        for (const SubentKind other : kSubentKinds) {
            if (other == kind) {
                continue;
            }
            for (const int neighbour : m_before.incidence.of(kind, old, other)) {
                const auto touched = m_before.incidence.of(other, neighbour, kind);
                if (!meetings.has_value()) {
                    meetings.emplace(touched.begin(), touched.end());
                    continue;
                }
                std::erase_if(*meetings, [&touched](int one) {
                    return !std::binary_search(touched.begin(), touched.end(), one);
                });
            }
        }
        return meetings.has_value() && meetings->size() == 1;
    }

    //----------------------------------------------------------------------------------------------

    SubentMap makeMap(std::string cause) const
    {
        SubentMap::Builder builder(m_before.numbers.counts(), m_after.numbers.counts(),
                                   std::move(cause));
        for (const SubentKind kind : kSubentKinds) {
            int number = 0;
            for (const Finding& found : m_findings[slot(kind)]) {
                ++number;
                std::vector<int> targets;
                for (const int target : found.targets) {
                    targets.push_back(target + 1);
                }
                if (found.state == State::kAmbiguous) {
                    builder.setAmbiguous({kind, number}, std::move(targets));
                } else {
                    builder.set({kind, number}, std::move(targets));
                }
            }
        }
        return builder.finish();
    }

    const OriginTable& m_table;
    const KnownSolid& m_before;
    const KnownSolid& m_after;
    std::array<std::vector<Finding>, 3> m_findings;
    std::array<std::vector<bool>, 3> m_isTaken;  ///< new items that an old one lives on in, or may
    std::vector<Group> m_groups;                 ///< in which votes decide
};

}  // namespace

SubentMap matchByOrigin(const OriginTable& table, const KnownSolid& before, const KnownSolid& after,
                        std::string cause)
{
    return OriginMatch(table, before, after).run(std::move(cause));
}

//--------------------------------------------------------------------------------------------------

namespace {

/// Marks of all items of one kind, by their distance from the origin along one slanted line.
class PlacedItems
{
public:
    PlacedItems(const TopTools_IndexedMapOfShape& items, SubentKind kind)
    {
        for (int number = 1; number <= items.Extent(); ++number) {
            const ItemMark mark = markOf(items(number), kind);
            m_items.push_back({positionOf(mark), number, mark});
        }
        std::sort(m_items.begin(), m_items.end(), [](const Item& first, const Item& second) {
            return first.position < second.position;
        });
    }

    std::vector<int> find(const ItemMark& mark) const
    {
        const double reach = kReachMm * (1 + mark.size);
        const double position = positionOf(mark);
        auto item =
            std::lower_bound(m_items.begin(), m_items.end(), position - reach,
                             [](const Item& one, double least) { return one.position < least; });
        std::vector<int> found;
        for (; item != m_items.end() && item->position <= position + reach; ++item) {
            if (isSameMark(item->mark, mark)) {
                found.push_back(item->number);
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }

private:
    static constexpr double kReachMm = 1e-5;

    struct Item
    {
        double position;
        int number;
        ItemMark mark;
    };

    static double positionOf(const ItemMark& mark)
    {
        const gp_XYZ slanted(0.5916, 0.6124, 0.5244);
        return slanted * mark.centre.XYZ();
    }

    std::vector<Item> m_items;
};

bool matchKindByPlace(const ItemNumbers& before, const ItemNumbers& after, SubentKind kind,
                      SubentMap::Builder& builder)
{
    const TopTools_IndexedMapOfShape& items = before.of(kind);
    if (items.Extent() != after.of(kind).Extent()) {
        return false;
    }
    const PlacedItems olds(items, kind);
    const PlacedItems news(after.of(kind), kind);
    for (int number = 1; number <= items.Extent(); ++number) {
        const ItemMark mark = markOf(items(number), kind);
        const std::vector<int> found = news.find(mark);
        if (found.empty() || found.size() != olds.find(mark).size()) {
            return false;
        }
        if (found.size() == 1) {
            builder.set({kind, number}, found);
        } else {
            builder.setAmbiguous({kind, number}, found);
        }
    }
    return true;
}

}  // namespace

bool matchByPlace(const ItemNumbers& before, const ItemNumbers& after, SubentMap& map)
{
    SubentMap::Builder builder(before.counts(), after.counts(), "renumbering");
    for (const SubentKind kind : kSubentKinds) {
        if (!matchKindByPlace(before, after, kind, builder)) {
            return false;
        }
    }
    map = builder.finish();
    return true;
}

}  // namespace zemhost
