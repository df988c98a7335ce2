#include "ocaf_naming.h"

#include "bench_util.h"

#include <BRepAlgoAPI_Cut.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRepPrim_Cylinder.hxx>
#include <BinDrivers.hxx>
#include <Standard_Failure.hxx>
#include <TDF_ChildIterator.hxx>
#include <TDF_Label.hxx>
#include <TDF_LabelMap.hxx>
#include <TDocStd_Application.hxx>
#include <TDocStd_Document.hxx>
#include <TNaming_Builder.hxx>
#include <TNaming_NamedShape.hxx>
#include <TNaming_Selector.hxx>
#include <TNaming_Tool.hxx>
#include <TopTools_ListOfShape.hxx>
#include <TopoDS_Solid.hxx>
#include <gp_Ax2.hxx>

#include <stdexcept>
#include <vector>

namespace bench {

namespace {

using plate_truth::PlateShape;
using plate_truth::Told;
using zemhost::SubentKind;

/// Tags of the labels below the document's main one.
enum MainTag
{
    kPlateTag = 1,
    kHolesTag = 2,
    kHolesCutTag = 3,
    kSlotTag = 4,
    kSlotCutTag = 5,
    kNamesTag = 6,
};

void nameFaces(const TDF_Label& label, const TopoDS_Shape& solid,
               const std::vector<TopoDS_Face>& faces)
{
    TNaming_Builder(label).Generated(solid);
    int tag = 0;
    for (const TopoDS_Face& face : faces) {
        TNaming_Builder(label.FindChild(++tag)).Generated(face);
    }
}

TopoDS_Shape makeNamedBox(const TDF_Label& label, BRepPrimAPI_MakeBox box)
{
    const TopoDS_Shape solid = box.Solid();
    nameFaces(label, solid,
              {box.BottomFace(), box.TopFace(), box.LeftFace(), box.RightFace(), box.FrontFace(),
               box.BackFace()});
    return solid;
}

/// What a boolean did to one face, on a label of its own. A label of which everything was forgotten
/// would lose the names that lead through it once it is filled again, so one that is filled now is
/// not emptied first.
void recordFace(const TDF_Label& label, const TopoDS_Shape& face,
                BRepAlgoAPI_BooleanOperation& operation)
{
    std::vector<TopoDS_Shape> images;
    for (const TopoDS_Shape& image : operation.Modified(face)) {
        if (!image.IsSame(face)) {
            images.push_back(image);
        }
    }
    if (images.empty() && !operation.IsDeleted(face)) {
        label.ForgetAllAttributes(Standard_True);
        return;
    }
    TNaming_Builder builder(label);
    for (const TopoDS_Shape& image : images) {
        builder.Modify(face, image);
    }
    if (images.empty()) {
        builder.Delete(face);
    }
}

void recordBoolean(const TDF_Label& label, const TopoDS_Shape& base,
                   BRepAlgoAPI_BooleanOperation& operation)
{
    TNaming_Builder(label).Modify(base, operation.Shape());
    TopTools_IndexedMapOfShape faces;
    for (const auto* shapes : {&operation.Arguments(), &operation.Tools()}) {
        for (const TopoDS_Shape& shape : *shapes) {
            TopExp::MapShapes(shape, TopAbs_FACE, faces);
        }
    }
    for (int number = 1; number <= faces.Extent(); ++number) {
        recordFace(label.FindChild(number), faces(number), operation);
    }
    for (TDF_ChildIterator child(label); child.More(); child.Next()) {
        if (child.Value().Tag() > faces.Extent()) {
            child.Value().ForgetAllAttributes(Standard_True);
        }
    }
}

/// The plate in a document, with the names of its items.
class NamedPlate
{
public:
    NamedPlate()
    {
        BinDrivers::DefineFormat(m_application);
        m_application->NewDocument("BinOcaf", m_document);
        m_main = m_document->Main();
    }

    ~NamedPlate() { m_application->Close(m_document); }
    NamedPlate(const NamedPlate&) = delete;
    NamedPlate& operator=(const NamedPlate&) = delete;

    void make(const PlateShape& shape)
    {
        m_booleanSeconds = 0;
        const TopoDS_Shape plate =
            makeNamedBox(m_main.FindChild(kPlateTag),
                         BRepPrimAPI_MakeBox(shape.side(), shape.side(), shape.thickness));
        const TopoDS_Shape pierced = cut(plate, makeHoles(shape), kHolesCutTag);
        const gp_Pnt corner(shape.slotMiddle() - shape.slotWidth / 2, -1,
                            shape.thickness - shape.slotDepth);
        const TopoDS_Shape slot = makeNamedBox(
            m_main.FindChild(kSlotTag),
            BRepPrimAPI_MakeBox(corner, shape.slotWidth, shape.slotShare * shape.side() + 1,
                                shape.slotDepth + 1));
        TopTools_ListOfShape tools;
        tools.Append(slot);
        m_solid = cut(pierced, tools, kSlotCutTag);
    }

    const TopoDS_Shape& solid() const { return m_solid; }
    double booleanSeconds() const { return m_booleanSeconds; }

    /// \return Seconds for each item.
    double selectAll(SubentKind kind)
    {
        const TopTools_IndexedMapOfShape items = itemsOf(kind);
        const TDF_Label names = namesOf(kind);
        const Stopwatch watch;
        for (int number = 1; number <= items.Extent(); ++number) {
            TNaming_Selector selector(names.FindChild(number));
            try {
                (void)selector.Select(items(number), m_solid);
            } catch (const Standard_Failure&) {
                // Solving tells that there is no name.
            }
        }
        return watch.seconds() / items.Extent();
    }

    /// \param told  Gets an answer for each name.
    /// \return Seconds for each name.
    double solveAll(SubentKind kind, int count, std::vector<Told>& told)
    {
        TDF_LabelMap valid;
        for (TDF_ChildIterator label(m_main, Standard_True); label.More(); label.Next()) {
            if (!label.Value().IsDescendant(m_main.FindChild(kNamesTag))) {
                valid.Add(label.Value());
            }
        }
        const TopTools_IndexedMapOfShape items = itemsOf(kind);
        const TDF_Label names = namesOf(kind);
        double seconds = 0;
        for (int number = 1; number <= count; ++number) {
            TNaming_Selector selector(names.FindChild(number));
            const Stopwatch watch;
            const bool isSolved = solve(selector, valid);
            seconds += watch.seconds();
            told.push_back(isSolved ? answerOf(selector, kind, items) : Told());
        }
        return seconds / count;
    }

private:
    static TopAbs_ShapeEnum typeOf(SubentKind kind)
    {
        static constexpr TopAbs_ShapeEnum kTypes[] = {TopAbs_FACE, TopAbs_EDGE, TopAbs_VERTEX};
        return kTypes[static_cast<std::size_t>(kind)];
    }

    TDF_Label namesOf(SubentKind kind) const
    {
        return m_main.FindChild(kNamesTag).FindChild(static_cast<int>(kind) + 1);
    }

    TopTools_IndexedMapOfShape itemsOf(SubentKind kind) const
    {
        TopTools_IndexedMapOfShape items;
        TopExp::MapShapes(m_solid, typeOf(kind), items);
        return items;
    }

    TopTools_ListOfShape makeHoles(const PlateShape& shape) const
    {
        TopTools_ListOfShape holes;
        for (int column = 0; column < shape.count; ++column) {
            for (int row = 0; row < shape.count; ++row) {
                const int index = column * shape.count + row;
                const TDF_Label label = m_main.FindChild(kHolesTag).FindChild(index + 1);
                if (shape.skipsHoles && index % 7 == 3) {
                    label.ForgetAllAttributes(Standard_True);
                    continue;
                }
                const gp_Pnt foot(shape.hole(column), shape.hole(row), -1);
                BRepPrimAPI_MakeCylinder maker(gp_Ax2(foot, gp::DZ()), shape.radius,
                                               shape.thickness + 2);
                const TopoDS_Shape hole = maker.Solid();
                BRepPrim_Cylinder& parts = maker.Cylinder();
                nameFaces(label, hole, {parts.LateralFace(), parts.BottomFace(), parts.TopFace()});
                holes.Append(hole);
            }
        }
        return holes;
    }

    TopoDS_Shape cut(const TopoDS_Shape& base, const TopTools_ListOfShape& tools, int tag)
    {
        TopTools_ListOfShape arguments;
        arguments.Append(base);
        BRepAlgoAPI_Cut operation;
        operation.SetArguments(arguments);
        operation.SetTools(tools);
        const Stopwatch watch;
        operation.Build();
        m_booleanSeconds += watch.seconds();
        if (!operation.IsDone()) {
            throw std::runtime_error("the peer's plate can't be made");
        }
        recordBoolean(m_main.FindChild(tag), base, operation);
        return operation.Shape();
    }

    static bool solve(TNaming_Selector& selector, TDF_LabelMap& valid)
    {
        try {
            return selector.Solve(valid) && !selector.NamedShape().IsNull();
        } catch (const Standard_Failure&) {
            return false;
        }
    }

    static Told answerOf(const TNaming_Selector& selector, SubentKind kind,
                         const TopTools_IndexedMapOfShape& items)
    {
        TopTools_IndexedMapOfShape found;
        const TopoDS_Shape shape = TNaming_Tool::GetShape(selector.NamedShape());
        if (!shape.IsNull()) {
            TopExp::MapShapes(shape, typeOf(kind), found);
        }
        Told told;
        for (int number = 1; number <= found.Extent(); ++number) {
            told.targets.push_back(items.FindIndex(found(number)));
        }
        std::sort(told.targets.begin(), told.targets.end());
        return told;
    }

    Handle(TDocStd_Application) m_application = new TDocStd_Application;
    Handle(TDocStd_Document) m_document;
    TDF_Label m_main;
    TopoDS_Shape m_solid;
    double m_booleanSeconds = 0;
};

}  // namespace

OcafNamingFigures ocafNaming(const plate_truth::PlateEdit& edit)
{
    OcafNamingFigures figures;
    NamedPlate plate;
    plate.make(edit.before);
    const plate_truth::PlateKeys before(plate.solid(), edit.before, edit.tellsSides);
    for (const SubentKind kind : zemhost::kSubentKinds) {
        figures.secondsOfItem[static_cast<std::size_t>(kind)] = plate.selectAll(kind);
    }
    plate.make(edit.after);
    figures.booleanSeconds = plate.booleanSeconds();
    const plate_truth::PlateKeys after(plate.solid(), edit.after, edit.tellsSides);
    const plate_truth::Judge judge(before, after);
    for (const SubentKind kind : zemhost::kSubentKinds) {
        const auto slot = static_cast<std::size_t>(kind);
        std::vector<Told> told;
        figures.secondsOfItem[slot] +=
            plate.solveAll(kind, static_cast<int>(before.of(kind).size()), told);
        figures.verdicts[slot] = judge.judge(
            kind, [&told](int number) { return told[static_cast<std::size_t>(number) - 1]; });
    }
    return figures;
}

}  // namespace bench
