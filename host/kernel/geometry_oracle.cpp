#include "kernel/geometry_oracle.h"

#include "kernel/kernel_guard_impl.h"
#include "kernel/kernel_solid_impl.h"

#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepBndLib.hxx>
#include <BRepTools.hxx>
#include <BRepTopAdaptor_FClass2d.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <ElSLib.hxx>
#include <Extrema_ExtPC.hxx>
#include <GeomAPI_ProjectPointOnSurf.hxx>
#include <TopExp.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Vertex.hxx>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>

namespace zemhost {

namespace {

/// Points of one item that must lie on another one before they are taken to share material: a touch
/// or a crossing puts one there by chance.
constexpr int kSharedPointsNeeded = 3;

struct Probe
{
    std::vector<gp_Pnt> samples;
    gp_Pnt centre;
    Bnd_Box box;
    int form = 0;  ///< kind of surface or curve; a pole differs from all curves
};

gp_Pnt centreOf(const std::vector<gp_Pnt>& points)
{
    gp_XYZ sum;
    for (const gp_Pnt& point : points) {
        sum += point.XYZ();
    }
    return gp_Pnt(points.empty() ? sum : sum / static_cast<double>(points.size()));
}

//--------------------------------------------------------------------------------------------------
// Items that points can be asked about

/// One face, edge or vertex, with points inside it.
class OracleItem
{
public:
    OracleItem() = default;
    OracleItem(const OracleItem&) = delete;
    OracleItem& operator=(const OracleItem&) = delete;
    virtual ~OracleItem() = default;

    const Probe& probe() const { return m_probe; }

    /// Whether a point lies on the item's carrier, where that goes on beyond the item.
    virtual bool isOnCarrier(const gp_Pnt& point) const = 0;
    virtual bool has(const gp_Pnt& point) const = 0;

protected:
    void finishProbe(const TopoDS_Shape& shape, double reach)
    {
        BRepBndLib::Add(shape, m_probe.box, Standard_False);
        m_probe.box.Enlarge(reach);
        m_probe.centre = centreOf(m_probe.samples);
    }

    Probe m_probe;
};

class OracleVertex : public OracleItem
{
public:
    OracleVertex(const TopoDS_Vertex& vertex, double reach)
        : m_point(BRep_Tool::Pnt(vertex)), m_reach(std::max(reach, BRep_Tool::Tolerance(vertex)))
    {
        m_probe.samples = {m_point};
        finishProbe(vertex, m_reach);
    }

    bool isOnCarrier(const gp_Pnt& point) const override { return has(point); }
    bool has(const gp_Pnt& point) const override { return m_point.Distance(point) <= m_reach; }

private:
    gp_Pnt m_point;
    double m_reach;
};

/// An edge without a curve in space: it takes up one point.
class OraclePole : public OracleItem
{
public:
    OraclePole(const TopoDS_Edge& edge, double reach)
        : m_point(BRep_Tool::Pnt(TopExp::FirstVertex(edge))), m_reach(reach)
    {
        constexpr int kPoleForm = -1;
        m_probe.samples = {m_point};
        m_probe.form = kPoleForm;
        finishProbe(TopExp::FirstVertex(edge), reach);
    }

    bool isOnCarrier(const gp_Pnt& point) const override { return has(point); }
    bool has(const gp_Pnt& point) const override { return m_point.Distance(point) <= m_reach; }

private:
    gp_Pnt m_point;
    double m_reach;
};

class OracleEdge : public OracleItem
{
public:
    OracleEdge(const TopoDS_Edge& edge, double reach) : m_curve(edge), m_reach(reach)
    {
        constexpr int kSamples = 41;
        const double first = m_curve.FirstParameter();
        const double length = m_curve.LastParameter() - first;
        for (int index = 0; index < kSamples; ++index) {
            m_probe.samples.push_back(m_curve.Value(first + length * (index + 0.5) / kSamples));
        }
        m_probe.form = m_curve.GetType();
        finishProbe(edge, reach);
    }

    bool isOnCarrier(const gp_Pnt&) const override { return true; }

    bool has(const gp_Pnt& point) const override
    {
        const double ends = std::min(point.Distance(m_curve.Value(m_curve.FirstParameter())),
                                     point.Distance(m_curve.Value(m_curve.LastParameter())));
        if (ends <= m_reach) {
            return true;
        }
        const Extrema_ExtPC extrema(point, m_curve);
        for (int index = 1; extrema.IsDone() && index <= extrema.NbExt(); ++index) {
            if (extrema.SquareDistance(index) <= m_reach * m_reach) {
                return true;
            }
        }
        return false;
    }

private:
    BRepAdaptor_Curve m_curve;
    double m_reach;
};

class OracleFace : public OracleItem
{
public:
    OracleFace(const TopoDS_Face& face, double reach)
        : m_surface(face, Standard_False), m_inside(face, reach * kParameterShare), m_reach(reach)
    {
        BRepTools::UVBounds(face, m_uMin, m_uMax, m_vMin, m_vMax);
        takeSamples();
        m_probe.form = m_surface.GetType();
        finishProbe(face, reach);
        if (!isElementary()) {
            m_projector.Init(BRep_Tool::Surface(face), m_uMin, m_uMax, m_vMin, m_vMax);
        }
    }

    bool isOnCarrier(const gp_Pnt& point) const override
    {
        return !isElementary() || foot(point).has_value();
    }

    bool has(const gp_Pnt& point) const override
    {
        const std::optional<gp_Pnt2d> parameters = foot(point);
        return parameters.has_value() && m_inside.Perform(*parameters) == TopAbs_IN;
    }

private:
    static constexpr double kParameterShare = 1e-2;

    bool isElementary() const
    {
        const GeomAbs_SurfaceType type = m_surface.GetType();
        return type == GeomAbs_Plane || type == GeomAbs_Cylinder || type == GeomAbs_Cone ||
               type == GeomAbs_Sphere || type == GeomAbs_Torus;
    }

    /// Ever finer nets, as a face may fill little of the rectangle around its parameters.
    void takeSamples()
    {
        constexpr std::size_t kEnough = 12;
        for (const int rows : {13, 31, 67, 151}) {
            takeNet(rows);
            if (m_probe.samples.size() >= kEnough) {
                return;
            }
        }
    }

    void takeNet(int rows)
    {
        constexpr double kOffsetU = 0.4763;
        constexpr double kOffsetV = 0.5291;
        m_probe.samples.clear();
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < rows; ++column) {
                const gp_Pnt2d at(m_uMin + (m_uMax - m_uMin) * (row + kOffsetU) / rows,
                                  m_vMin + (m_vMax - m_vMin) * (column + kOffsetV) / rows);
                if (m_inside.Perform(at) == TopAbs_IN) {
                    m_probe.samples.push_back(m_surface.Value(at.X(), at.Y()));
                }
            }
        }
    }

    /// The parameters of the surface's point that a point lies on.
    std::optional<gp_Pnt2d> foot(const gp_Pnt& point) const
    {
        double u = 0;
        double v = 0;
        if (!isElementary()) {
            m_projector.Perform(point);
            if (m_projector.NbPoints() == 0 || m_projector.LowerDistance() > m_reach) {
                return std::nullopt;
            }
            m_projector.LowerDistanceParameters(u, v);
            return gp_Pnt2d(u, v);
        }
        elementaryParameters(point, u, v);
        if (m_surface.Value(u, v).Distance(point) > m_reach) {
            return std::nullopt;
        }
        return gp_Pnt2d(u, v);
    }

    void elementaryParameters(const gp_Pnt& point, double& u, double& v) const
    {
        switch (m_surface.GetType()) {
        case GeomAbs_Plane:
            ElSLib::Parameters(m_surface.Plane(), point, u, v);
            break;
        case GeomAbs_Cylinder:
            ElSLib::Parameters(m_surface.Cylinder(), point, u, v);
            break;
        case GeomAbs_Cone:
            ElSLib::Parameters(m_surface.Cone(), point, u, v);
            break;
        case GeomAbs_Sphere:
            ElSLib::Parameters(m_surface.Sphere(), point, u, v);
            break;
        default:
            ElSLib::Parameters(m_surface.Torus(), point, u, v);
            break;
        }
    }

    BRepAdaptor_Surface m_surface;
    mutable BRepTopAdaptor_FClass2d m_inside;
    mutable GeomAPI_ProjectPointOnSurf m_projector;
    double m_uMin = 0;
    double m_uMax = 0;
    double m_vMin = 0;
    double m_vMax = 0;
    double m_reach;
};

std::unique_ptr<OracleItem> makeItem(const TopoDS_Shape& shape, SubentKind kind, double reach)
{
    if (kind == SubentKind::kFace) {
        return std::make_unique<OracleFace>(TopoDS::Face(shape), reach);
    }
    if (kind == SubentKind::kVertex) {
        return std::make_unique<OracleVertex>(TopoDS::Vertex(shape), reach);
    }
    const TopoDS_Edge edge = TopoDS::Edge(shape);
    if (BRep_Tool::Degenerated(edge)) {
        return std::make_unique<OraclePole>(edge, reach);
    }
    return std::make_unique<OracleEdge>(edge, reach);
}

//--------------------------------------------------------------------------------------------------
// Which items share material

/// A pole and a curve never share material, whatever touches.
bool canShare(const OracleItem& first, const OracleItem& second, SubentKind kind)
{
    constexpr int kPoleForm = -1;
    const bool isPole = kind == SubentKind::kEdge && first.probe().form == kPoleForm;
    const bool isOtherPole = kind == SubentKind::kEdge && second.probe().form == kPoleForm;
    return isPole == isOtherPole && !first.probe().box.IsOut(second.probe().box);
}

bool hasEnoughOf(const OracleItem& item, const std::vector<gp_Pnt>& points)
{
    const int needed = std::min(kSharedPointsNeeded, static_cast<int>(points.size()));
    int found = 0;
    int asked = 0;
    for (const gp_Pnt& point : points) {
        // Where two items share material they have one carrier, and all points of both lie on it.
        if (asked < kSharedPointsNeeded && !item.isOnCarrier(point)) {
            return false;
        }
        ++asked;
        found += !item.probe().box.IsOut(point) && item.has(point) ? 1 : 0;
        if (found > 0 && found >= needed) {
            return true;
        }
    }
    return false;
}

bool shares(const OracleItem& first, const OracleItem& second)
{
    return hasEnoughOf(second, first.probe().samples) || hasEnoughOf(first, second.probe().samples);
}

/// All items of one kind of a solid, to be found by place.
class OracleItems
{
public:
    OracleItems(const TopTools_IndexedMapOfShape& shapes, SubentKind kind, double reach)
        : m_kind(kind)
    {
        for (int number = 1; number <= shapes.Extent(); ++number) {
            m_items.push_back(makeItem(shapes(number), kind, reach));
            double low[3];
            double high[3];
            m_items.back()->probe().box.Get(low[0], low[1], low[2], high[0], high[1], high[2]);
            m_starts.push_back({low[0], number});
            m_widest = std::max(m_widest, high[0] - low[0]);
        }
        std::sort(m_starts.begin(), m_starts.end());
    }

    std::size_t size() const { return m_items.size(); }
    const OracleItem& item(int number) const
    {
        return *m_items[static_cast<std::size_t>(number) - 1];
    }

    /// Those that share material with an item, ascending.
    std::vector<int> sharing(const OracleItem& wanted) const
    {
        double low[3];
        double high[3];
        wanted.probe().box.Get(low[0], low[1], low[2], high[0], high[1], high[2]);
        std::vector<int> found;
        auto start = std::lower_bound(m_starts.begin(), m_starts.end(),
                                      std::make_pair(low[0] - m_widest, 0));
        for (; start != m_starts.end() && start->first <= high[0]; ++start) {
            const OracleItem& other = item(start->second);
            if (canShare(wanted, other, m_kind) && shares(wanted, other)) {
                found.push_back(start->second);
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }

private:
    SubentKind m_kind;
    std::vector<std::unique_ptr<OracleItem>> m_items;
    std::vector<std::pair<double, int>> m_starts;  ///< least x and number, ascending
    double m_widest = 0;
};

//--------------------------------------------------------------------------------------------------
// Items that moved

/// The item of the same form whose middle is nearest, among some; 0 for none within reach.
int nearestOf(const OracleItem& wanted, const OracleItems& items, const std::vector<int>& numbers,
              double reach)
{
    int nearest = 0;
    double least = reach;
    for (const int number : numbers) {
        const Probe& other = items.item(number).probe();
        const double distance = other.centre.Distance(wanted.probe().centre);
        if (other.form == wanted.probe().form && distance < least) {
            nearest = number;
            least = distance;
        }
    }
    return nearest;
}

//--------------------------------------------------------------------------------------------------

/// Compares the map's answers for one kind of item.
class KindComparison
{
public:
    KindComparison(const KernelSolidImpl& before, const KernelSolidImpl& after, SubentKind kind,
                   double tolerance, double reach)
        : m_kind(kind), m_before(before.items(kind), kind, tolerance),
          m_after(after.items(kind), kind, tolerance)
    {
        for (int number = 1; number <= static_cast<int>(m_before.size()); ++number) {
            m_found.push_back(m_after.sharing(m_before.item(number)));
        }
        if (reach > 0) {
            followMoved(reach);
        }
    }

    void compare(const SubentMap& map, OracleReport& report) const
    {
        for (int number = 1; number <= static_cast<int>(m_before.size()); ++number) {
            compareItem(map.answer({m_kind, number}), number, report);
        }
    }

private:
    const std::vector<int>& found(int number) const
    {
        return m_found[static_cast<std::size_t>(number) - 1];
    }

    /// Old and new items that share nothing, and are nearest to one another.
    void followMoved(double reach)
    {
        std::vector<bool> isTaken(m_after.size() + 1, false);
        std::vector<int> lost;
        for (int number = 1; number <= static_cast<int>(m_before.size()); ++number) {
            for (const int target : found(number)) {
                isTaken[static_cast<std::size_t>(target)] = true;
            }
            if (found(number).empty()) {
                lost.push_back(number);
            }
        }
        std::vector<int> fresh;
        for (int number = 1; number <= static_cast<int>(m_after.size()); ++number) {
            if (!isTaken[static_cast<std::size_t>(number)]) {
                fresh.push_back(number);
            }
        }
        for (const int number : lost) {
            followItem(number, lost, fresh, reach);
        }
    }

    void followItem(int number, const std::vector<int>& lost, const std::vector<int>& fresh,
                    double reach)
    {
        const int target = nearestOf(m_before.item(number), m_after, fresh, reach);
        if (target == 0) {
            return;
        }
        if (nearestOf(m_after.item(target), m_before, lost, reach) == number) {
            m_found[static_cast<std::size_t>(number) - 1] = {target};
        } else {
            m_unjudged.push_back(number);
        }
    }

    void compareItem(const SubentAnswer& answer, int number, OracleReport& report) const
    {
        ++report.items;
        const std::vector<int> told(answer.targets.begin(), answer.targets.end());
        const std::vector<int>& seen = found(number);
        if (answer.fate == SubentFate::kAmbiguous && isPart(seen, told)) {
            ++report.ambiguous;
            return;
        }
        if (answer.fate != SubentFate::kAmbiguous && told == seen) {
            return;
        }
        const bool isBlind = allows(told, seen, number);
        report.blind += isBlind ? 1 : 0;
        report.differences += isBlind ? 0 : 1;
        report.findings.push_back({{m_kind, number}, answer.fate, told, seen, isBlind});
    }

    /// Whether an answer is right for one of several items that lie on one another.
    bool allows(const std::vector<int>& told, const std::vector<int>& seen, int number) const
    {
        const bool isUnjudged =
            std::find(m_unjudged.begin(), m_unjudged.end(), number) != m_unjudged.end();
        if (isUnjudged) {
            return true;
        }
        const bool hasTwin = m_before.sharing(m_before.item(number)).size() != 1 ||
                             std::any_of(seen.begin(), seen.end(), [this](int target) {
                                 return m_after.sharing(m_after.item(target)).size() != 1;
                             });
        return hasTwin && !told.empty() && isPart(told, seen);
    }

    static bool isPart(const std::vector<int>& part, const std::vector<int>& whole)
    {
        return std::includes(whole.begin(), whole.end(), part.begin(), part.end());
    }

    SubentKind m_kind;
    OracleItems m_before;
    OracleItems m_after;
    std::vector<std::vector<int>> m_found;
    std::vector<int> m_unjudged;  ///< old items that another one claims the nearest new item of
};

double toleranceFor(const KernelSolidImpl& solid)
{
    constexpr double kShare = 1e-6;
    constexpr double kLeast = 1e-6;
    constexpr double kMost = 1e-5;
    Bnd_Box box;
    BRepBndLib::Add(solid.shape(), box, Standard_False);
    return std::clamp(kShare * std::sqrt(box.SquareExtent()), kLeast, kMost);
}

OracleReport compare(const KernelSolidImpl& before, const KernelSolidImpl& after,
                     const SubentMap& map, const OracleOptions& options)
{
    const double tolerance = options.toleranceMm > 0 ? options.toleranceMm : toleranceFor(before);
    OracleReport report;
    for (const SubentKind kind : kSubentKinds) {
        KindComparison(before, after, kind, tolerance, options.reachMm).compare(map, report);
    }
    return report;
}

}  // namespace

OracleReport compareWithGeometry(const KernelSolid& before, const KernelSolid& after,
                                 const SubentMap& map, const OracleOptions& options)
{
    if (map.before() != before.counts() || map.after() != after.counts()) {
        throw KernelError(KernelFailure::kBadArgument, "", "the map belongs to other solids", "");
    }
    silenceKernel();
    return guardKernel(KernelFailure::kDamagedBytes, "", "comparing solids", "", [&] {
        return compare(KernelSolidImpl::of(before), KernelSolidImpl::of(after), map, options);
    });
}

}  // namespace zemhost
