#include "ocaf_document.h"

#include <BinDrivers.hxx>
#include <TCollection_AsciiString.hxx>
#include <TCollection_ExtendedString.hxx>
#include <TDF_Data.hxx>
#include <TDF_Label.hxx>
#include <TDF_Reference.hxx>
#include <TDataStd_Integer.hxx>
#include <TDataStd_Name.hxx>
#include <TDataStd_Real.hxx>
#include <TDataStd_RealArray.hxx>
#include <TDocStd_Application.hxx>
#include <TDocStd_Document.hxx>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <vector>

namespace {

constexpr int kFanOut = 100;
constexpr int kReals = 8;
constexpr std::size_t kLookups = 1'000'000;

class Stopwatch
{
public:
    double seconds() const { return std::chrono::duration<double>(Clock::now() - m_start).count(); }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point m_start = Clock::now();
};

/// The framework's application and one document of it.
class Session
{
public:
    Session() : m_application(new TDocStd_Application) { BinDrivers::DefineFormat(m_application); }

    TDF_Label newDocument()
    {
        m_application->NewDocument(TCollection_ExtendedString("BinOcaf"), m_document);
        return m_document->Main();
    }
    void save(std::string const& path)
    {
        const PCDM_StoreStatus status =
            m_application->SaveAs(m_document, TCollection_ExtendedString(path.c_str()));
        if (status != PCDM_SS_OK) {
            throw std::runtime_error("the peer can't save " + path);
        }
    }
    TDF_Label load(std::string const& path)
    {
        const PCDM_ReaderStatus status =
            m_application->Open(TCollection_ExtendedString(path.c_str()), m_document);
        if (status != PCDM_RS_OK) {
            throw std::runtime_error("the peer can't load " + path);
        }
        return m_document->Main();
    }
    TDocStd_Document& document() { return *m_document; }

private:
    Handle(TDocStd_Application) m_application;
    Handle(TDocStd_Document) m_document;
};

int tag(std::size_t index, std::size_t level)
{
    return static_cast<int>(index / level % kFanOut) + 1;
}

std::vector<TDF_Label> labelsOf(TDF_Label const& main, std::size_t count)
{
    std::vector<TDF_Label> labels;
    labels.reserve(count);
    TDF_Label group;
    for (std::size_t index = 0; index < count; ++index) {
        if (index % kFanOut == 0) {
            const int outer = static_cast<int>(index / (kFanOut * kFanOut)) + 1;
            group = main.FindChild(outer).FindChild(tag(index, kFanOut));
        }
        labels.push_back(group.FindChild(tag(index, 1)));
    }
    return labels;
}

TCollection_AsciiString entryOf(std::size_t index)
{
    char text[64];
    std::snprintf(text, sizeof text, "0:1:%d:%d:%d",
                  static_cast<int>(index / (kFanOut * kFanOut)) + 1, tag(index, kFanOut),
                  tag(index, 1));
    return TCollection_AsciiString(text);
}

TCollection_ExtendedString nameOf(std::size_t index)
{
    char text[32];
    std::snprintf(text, sizeof text, "obj_%08zu", index);
    return TCollection_ExtendedString(text);
}

double realOf(std::size_t index)
{
    return static_cast<double>(index) * 0.25 + 1.0;
}

std::size_t referenceOf(std::size_t index, std::size_t count)
{
    return (index * 2654435761ULL + 12345) % count;
}

std::vector<std::size_t> randomIndices(std::size_t howMany, std::size_t count)
{
    std::mt19937 random(7);
    std::vector<std::size_t> indices(howMany);
    for (std::size_t& index : indices) {
        index = random() % count;
    }
    return indices;
}

std::vector<TDF_Label> fill(TDF_Label const& main, std::size_t count)
{
    const std::vector<TDF_Label> labels = labelsOf(main, count);
    for (std::size_t index = 0; index < count; ++index) {
        TDF_Label const& label = labels[index];
        TDataStd_Name::Set(label, nameOf(index));
        TDataStd_Integer::Set(label, static_cast<int>(index));
        TDataStd_Real::Set(label, realOf(index));
        const Handle(TDataStd_RealArray) reals = TDataStd_RealArray::Set(label, 1, kReals);
        for (int k = 1; k <= kReals; ++k) {
            reals->SetValue(k, static_cast<double>(index) + k * 0.125);
        }
        TDF_Reference::Set(label, labels[referenceOf(index, count)]);
    }
    return labels;
}

bool isRight(TDF_Label const& label, std::size_t index, TDF_Label const& expectedReference)
{
    Handle(TDataStd_Name) name;
    Handle(TDataStd_Integer) integer;
    Handle(TDataStd_Real) real;
    Handle(TDataStd_RealArray) reals;
    Handle(TDF_Reference) reference;
    return label.FindAttribute(TDataStd_Name::GetID(), name) && name->Get() == nameOf(index) &&
           label.FindAttribute(TDataStd_Integer::GetID(), integer) &&
           integer->Get() == static_cast<int>(index) &&
           label.FindAttribute(TDataStd_Real::GetID(), real) && real->Get() == realOf(index) &&
           label.FindAttribute(TDataStd_RealArray::GetID(), reals) && reals->Length() == kReals &&
           reals->Value(kReals) == static_cast<double>(index) + 1.0 &&
           label.FindAttribute(TDF_Reference::GetID(), reference) &&
           reference->Get() == expectedReference;
}

double realIn(TDF_Label const& label)
{
    Handle(TDataStd_Real) real;
    return label.FindAttribute(TDataStd_Real::GetID(), real) ? real->Get() : 0.0;
}

double sumOf(std::vector<std::size_t> const& indices)
{
    double sum = 0.0;
    for (std::size_t index : indices) {
        sum += realOf(index);
    }
    return sum;
}

}  // namespace

OcafSaveFigures ocafSave(std::size_t count, std::string const& path)
{
    Session session;
    OcafSaveFigures figures;
    Stopwatch watch;
    fill(session.newDocument(), count);
    figures.build = watch.seconds();
    watch = Stopwatch();
    session.save(path);
    figures.save = watch.seconds();
    figures.fileBytes = static_cast<double>(std::filesystem::file_size(path));
    return figures;
}

OcafLoadFigures ocafLoad(std::size_t count, std::string const& path)
{
    Session session;
    OcafLoadFigures figures;
    Stopwatch watch;
    const TDF_Label main = session.load(path);
    figures.load = watch.seconds();

    const std::vector<TDF_Label> labels = labelsOf(main, count);
    for (std::size_t index = 0; index < count; ++index) {
        const TDF_Label expected = labels[referenceOf(index, count)];
        figures.wrong += isRight(labels[index], index, expected) ? 0.0 : 1.0;
    }
    const std::vector<std::size_t> indices = randomIndices(kLookups, count);
    const double expected = sumOf(indices);

    const Handle(TDF_Data) data = session.document().GetData();
    data->SetAccessByEntries(Standard_True);
    std::vector<TCollection_AsciiString> entries;
    entries.reserve(indices.size());
    for (std::size_t index : indices) {
        entries.push_back(entryOf(index));
    }
    double sum = 0.0;
    watch = Stopwatch();
    for (TCollection_AsciiString const& entry : entries) {
        TDF_Label label;
        if (data->GetLabel(entry, label)) {
            sum += realIn(label);
        }
    }
    figures.lookupsPerSecond = static_cast<double>(indices.size()) / watch.seconds();
    figures.wrong += sum == expected ? 0.0 : 1.0;

    sum = 0.0;
    watch = Stopwatch();
    for (std::size_t index : indices) {
        sum += realIn(labels[index]);
    }
    figures.readsPerSecond = static_cast<double>(indices.size()) / watch.seconds();
    figures.wrong += sum == expected ? 0.0 : 1.0;
    return figures;
}

OcafUndoFigures ocafUndo(std::size_t count, std::size_t changes)
{
    Session session;
    OcafUndoFigures figures;
    const std::vector<TDF_Label> labels = fill(session.newDocument(), count);
    TDocStd_Document& document = session.document();
    document.SetUndoLimit(static_cast<int>(changes));
    const std::vector<std::size_t> indices = randomIndices(changes, count);
    const auto rate = [&](Stopwatch const& watch) {
        return static_cast<double>(changes) / watch.seconds();
    };

    Stopwatch watch;
    for (std::size_t change = 0; change < changes; ++change) {
        document.NewCommand();
        TDataStd_Real::Set(labels[indices[change]], -1.0 - static_cast<double>(change));
    }
    document.CommitCommand();
    figures.commitsPerSecond = rate(watch);

    watch = Stopwatch();
    for (std::size_t change = 0; change < changes; ++change) {
        figures.wrong += document.Undo() ? 0.0 : 1.0;
    }
    figures.undosPerSecond = rate(watch);
    for (std::size_t index : indices) {
        figures.wrong += realIn(labels[index]) == realOf(index) ? 0.0 : 1.0;
    }

    watch = Stopwatch();
    for (std::size_t change = 0; change < changes; ++change) {
        figures.wrong += document.Redo() ? 0.0 : 1.0;
    }
    figures.redosPerSecond = rate(watch);
    return figures;
}
