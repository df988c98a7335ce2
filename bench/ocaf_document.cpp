#include "ocaf_document.h"

#include "bench_util.h"
#include "document_content.h"

#include <BinDrivers.hxx>
#include <TCollection_AsciiString.hxx>
#include <TCollection_ExtendedString.hxx>
#include <TDF_ChildIterator.hxx>
#include <TDF_Data.hxx>
#include <TDF_Label.hxx>
#include <TDF_Reference.hxx>
#include <TDataStd_Integer.hxx>
#include <TDataStd_Name.hxx>
#include <TDataStd_Real.hxx>
#include <TDataStd_RealArray.hxx>
#include <TDocStd_Application.hxx>
#include <TDocStd_Document.hxx>

#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

namespace {

constexpr std::size_t kFanOut = 100;

const char* const kFormat = "BinOcaf";

/// Tags of an object's label below the main label, from the top; tags count from 1.
std::array<int, 3> tagsOf(std::size_t index)
{
    return {static_cast<int>(index / (kFanOut * kFanOut)) + 1,
            static_cast<int>(index / kFanOut % kFanOut) + 1, static_cast<int>(index % kFanOut) + 1};
}

std::string entryOf(std::size_t index)
{
    std::string entry = "0:1";
    for (const int tag : tagsOf(index)) {
        entry += ":" + std::to_string(tag);
    }
    return entry;
}

/// One document in an application of its own.
class OcafSession
{
public:
    OcafSession() : m_application(new TDocStd_Application)
    {
        BinDrivers::DefineFormat(m_application);
    }

    OcafSession(const OcafSession&) = delete;
    OcafSession& operator=(const OcafSession&) = delete;

    void create() { m_application->NewDocument(kFormat, m_document); }

    void save(const std::filesystem::path& path)
    {
        const PCDM_StoreStatus status =
            m_application->SaveAs(m_document, TCollection_ExtendedString(path.c_str()));
        if (status != PCDM_SS_OK) {
            throw std::runtime_error("OCAF does not save: status " + std::to_string(status));
        }
    }

    void open(const std::filesystem::path& path)
    {
        const PCDM_ReaderStatus status =
            m_application->Open(TCollection_ExtendedString(path.c_str()), m_document);
        if (status != PCDM_RS_OK) {
            throw std::runtime_error("OCAF does not open: status " + std::to_string(status));
        }
    }

    TDocStd_Document& document() const { return *m_document; }

private:
    Handle(TDocStd_Application) m_application;
    Handle(TDocStd_Document) m_document;
};

std::vector<TDF_Label> makeLabels(const TDF_Label& main, std::size_t count)
{
    std::vector<TDF_Label> labels(count);
    TDF_Label parent;
    for (std::size_t index = 0; index < count; ++index) {
        const std::array<int, 3> tags = tagsOf(index);
        if (index % kFanOut == 0) {
            parent = main.FindChild(tags[0]).FindChild(tags[1]);
        }
        labels[index] = parent.FindChild(tags[2]);
    }
    return labels;
}

std::vector<TDF_Label> fill(const TDF_Label& main, std::size_t count)
{
    std::vector<TDF_Label> labels = makeLabels(main, count);
    for (std::size_t index = 0; index < count; ++index) {
        const ObjectContent content = contentOf(index, count);
        const TDF_Label& label = labels[index];
        TDataStd_Name::Set(label, TCollection_ExtendedString(content.name.c_str()));
        TDataStd_Integer::Set(label, content.integer);
        TDataStd_Real::Set(label, content.real);
        const int size = static_cast<int>(content.reals.size());
        const Handle(TDataStd_RealArray) reals = TDataStd_RealArray::Set(label, 1, size);
        for (int at = 1; at <= size; ++at) {
            reals->SetValue(at, content.reals[static_cast<std::size_t>(at - 1)]);
        }
        TDF_Reference::Set(label, labels[content.reference]);
    }
    return labels;
}

/// The labels of a loaded document in the order of their numbers.
std::vector<TDF_Label> collectLabels(const TDF_Label& main, std::size_t count)
{
    std::vector<TDF_Label> labels;
    labels.reserve(count);
    for (TDF_ChildIterator first(main); first.More(); first.Next()) {
        for (TDF_ChildIterator second(first.Value()); second.More(); second.Next()) {
            for (TDF_ChildIterator third(second.Value()); third.More(); third.Next()) {
                labels.push_back(third.Value());
            }
        }
    }
    return labels;
}

/// A label's attribute of one kind, or null.
template <typename Attribute>
Handle(Attribute) attributeOf(const TDF_Label& label)
{
    Handle(Attribute) attribute;
    label.FindAttribute(Attribute::GetID(), attribute);
    return attribute;
}

bool hasReal(const TDF_Label& label, double value)
{
    const auto real = attributeOf<TDataStd_Real>(label);
    return !real.IsNull() && real->Get() == value;
}

bool hasReals(const TDF_Label& label, const std::array<double, 8>& values)
{
    const auto reals = attributeOf<TDataStd_RealArray>(label);
    if (reals.IsNull() || reals->Length() != static_cast<int>(values.size())) {
        return false;
    }
    for (std::size_t at = 0; at < values.size(); ++at) {
        if (reals->Value(static_cast<int>(at) + 1) != values[at]) {
            return false;
        }
    }
    return true;
}

bool hasContent(const TDF_Label& label, const ObjectContent& content,
                const std::vector<TDF_Label>& labels)
{
    const auto name = attributeOf<TDataStd_Name>(label);
    const auto integer = attributeOf<TDataStd_Integer>(label);
    const auto reference = attributeOf<TDF_Reference>(label);
    return !name.IsNull() && name->Get() == TCollection_ExtendedString(content.name.c_str()) &&
           !integer.IsNull() && integer->Get() == content.integer && hasReal(label, content.real) &&
           hasReals(label, content.reals) && !reference.IsNull() &&
           reference->Get() == labels[content.reference];
}

double countWrong(const std::vector<TDF_Label>& labels, std::size_t count)
{
    if (labels.size() != count) {
        return static_cast<double>(count);
    }
    double wrong = 0;
    for (std::size_t index = 0; index < count; ++index) {
        wrong += hasContent(labels[index], contentOf(index, count), labels) ? 0 : 1;
    }
    return wrong;
}

/// Reads the real of each of `indices` through `find`, a function from a position in `indices` to a
/// label. Answers reads per second; a sum that is not the expected one counts as wrong.
template <typename Find>
double readsPerSecond(const std::vector<std::size_t>& indices, const Find& find, double& wrong)
{
    double sum = 0;
    const Stopwatch watch;
    for (std::size_t at = 0; at < indices.size(); ++at) {
        const auto real = attributeOf<TDataStd_Real>(find(at));
        sum += real.IsNull() ? 0 : real->Get();
    }
    const double seconds = watch.seconds();
    double expected = 0;
    for (const std::size_t index : indices) {
        expected += realOf(index);
    }
    wrong += sum == expected ? 0 : 1;
    return static_cast<double>(indices.size()) / seconds;
}

void timeLookups(const OcafSession& session, const std::vector<TDF_Label>& labels,
                 OcafLoadFigures& figures)
{
    const std::vector<std::size_t> indices = randomIndices(kOcafLookups, labels.size());
    std::vector<TCollection_AsciiString> entries;
    entries.reserve(indices.size());
    for (const std::size_t index : indices) {
        entries.emplace_back(entryOf(index).c_str());
    }
    const Handle(TDF_Data) data = session.document().GetData();
    const Stopwatch watch;
    data->SetAccessByEntries(Standard_True);
    figures.tableSeconds = watch.seconds();
    figures.lookupsPerSecond = readsPerSecond(
        indices,
        [&](std::size_t at) {
            TDF_Label label;
            data->GetLabel(entries[at], label);
            return label;
        },
        figures.wrong);
    figures.attributesPerSecond = readsPerSecond(
        indices, [&](std::size_t at) { return labels[indices[at]]; }, figures.wrong);
}

/// Sets the real of one label for each change, each in a command of its own.
void commitChanges(TDocStd_Document& document, const std::vector<TDF_Label>& labels,
                   const std::vector<std::size_t>& indices)
{
    for (std::size_t change = 0; change < indices.size(); ++change) {
        document.OpenCommand();
        attributeOf<TDataStd_Real>(labels[indices[change]])
            ->Set(-1.0 - static_cast<double>(change));
        if (!document.CommitCommand()) {
            throw std::runtime_error("OCAF does not commit change " + std::to_string(change));
        }
    }
}

}  // namespace

OcafSaveFigures ocafSave(std::size_t count, const std::filesystem::path& path)
{
    if (path.extension() != ".cbf") {
        throw std::runtime_error("the path of an OCAF document ends in .cbf");
    }
    std::filesystem::remove(path);
    OcafSession session;
    OcafSaveFigures figures;
    session.create();
    Stopwatch watch;
    (void)fill(session.document().Main(), count);  // the labels stay in the document
    figures.buildSeconds = watch.seconds();
    watch = Stopwatch();
    session.save(path);
    figures.saveSeconds = watch.seconds();
    figures.peakMib = peakResidentMib();
    figures.fileBytes = static_cast<double>(std::filesystem::file_size(path));
    return figures;
}

OcafLoadFigures ocafLoad(std::size_t count, const std::filesystem::path& path)
{
    OcafSession session;
    OcafLoadFigures figures;
    const Stopwatch watch;
    session.open(path);
    figures.loadSeconds = watch.seconds();
    figures.peakMib = peakResidentMib();
    const std::vector<TDF_Label> labels = collectLabels(session.document().Main(), count);
    figures.wrong = countWrong(labels, count);
    if (figures.wrong == 0) {
        timeLookups(session, labels, figures);
    }
    return figures;
}

OcafUndoFigures ocafUndo(std::size_t count, std::size_t changes)
{
    OcafSession session;
    session.create();
    TDocStd_Document& document = session.document();
    const std::vector<TDF_Label> labels = fill(document.Main(), count);
    const std::vector<std::size_t> indices = randomIndices(changes, count);
    document.SetUndoLimit(static_cast<int>(changes) + 1);
    OcafUndoFigures figures;
    const auto rate = [changes](const Stopwatch& watch) {
        return static_cast<double>(changes) / watch.seconds();
    };

    Stopwatch watch;
    commitChanges(document, labels, indices);
    figures.commitsPerSecond = rate(watch);

    watch = Stopwatch();
    for (std::size_t change = 0; change < changes; ++change) {
        figures.wrong += document.Undo() ? 0 : 1;
    }
    figures.undosPerSecond = rate(watch);
    for (const std::size_t index : indices) {
        figures.wrong += hasReal(labels[index], realOf(index)) ? 0 : 1;
    }

    watch = Stopwatch();
    for (std::size_t change = 0; change < changes; ++change) {
        figures.wrong += document.Redo() ? 0 : 1;
    }
    figures.redosPerSecond = rate(watch);
    std::vector<double> last(count, 0);
    for (std::size_t change = 0; change < changes; ++change) {
        last[indices[change]] = -1.0 - static_cast<double>(change);
    }
    for (const std::size_t index : indices) {
        figures.wrong += hasReal(labels[index], last[index]) ? 0 : 1;
    }
    return figures;
}

}  // namespace bench
