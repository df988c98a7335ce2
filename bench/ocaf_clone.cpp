#include "ocaf_clone.h"

#include "bench_util.h"
#include "document_content.h"

#include <BinDrivers.hxx>
#include <TCollection_ExtendedString.hxx>
#include <TDF_ChildIterator.hxx>
#include <TDF_CopyLabel.hxx>
#include <TDF_Label.hxx>
#include <TDF_Reference.hxx>
#include <TDataStd_Integer.hxx>
#include <TDataStd_Name.hxx>
#include <TDataStd_Real.hxx>
#include <TDataStd_RealArray.hxx>
#include <TDocStd_Application.hxx>
#include <TDocStd_Document.hxx>
#include <pthread.h>

#include <exception>
#include <functional>
#include <stdexcept>
#include <vector>

namespace bench {

namespace {

constexpr std::size_t kFanOut = 100;
constexpr int kOwnedTag = 1;

void fill(TDF_Label const& label, std::size_t index, std::size_t count, TDF_Label const& reference)
{
    const ObjectContent content = contentOf(index, count);
    TDataStd_Name::Set(label, TCollection_ExtendedString(content.name.c_str()));
    TDataStd_Integer::Set(label, content.integer);
    TDataStd_Real::Set(label, content.real);
    const int size = static_cast<int>(content.reals.size());
    const Handle(TDataStd_RealArray) reals = TDataStd_RealArray::Set(label, 1, size);
    for (int at = 1; at <= size; ++at) {
        reals->SetValue(at, content.reals[static_cast<std::size_t>(at - 1)]);
    }
    TDF_Reference::Set(label, reference);
}

std::vector<TDF_Label> entitiesOf(TDF_Label const& block, std::size_t count, bool creates)
{
    std::vector<TDF_Label> labels;
    labels.reserve(count);
    if (!creates) {
        for (TDF_ChildIterator first(block); first.More(); first.Next()) {
            for (TDF_ChildIterator second(first.Value()); second.More(); second.Next()) {
                for (TDF_ChildIterator third(second.Value()); third.More(); third.Next()) {
                    labels.push_back(third.Value());
                }
            }
        }
        return labels;
    }
    TDF_Label parent;
    for (std::size_t index = 0; index < count; ++index) {
        if (index % kFanOut == 0) {
            parent = block.FindChild(static_cast<int>(index / (kFanOut * kFanOut)) + 1)
                         .FindChild(static_cast<int>(index / kFanOut % kFanOut) + 1);
        }
        labels.push_back(parent.FindChild(static_cast<int>(index % kFanOut) + 1));
    }
    return labels;
}

/// Does work on a stack of its own size. Copying a label goes from reference to reference by recursion,
/// so its depth grows with the content; the usual stack ends below 200 000 entities.
void onLargeStack(std::function<void()> const& work)
{
    constexpr std::size_t kStackBytes = std::size_t{1} << 30;
    struct Task
    {
        std::function<void()> const& work;
        std::exception_ptr failure;
    } task{work, nullptr};
    const auto run = [](void* argument) -> void* {
        Task& given = *static_cast<Task*>(argument);
        try {
            given.work();
        } catch (...) {
            given.failure = std::current_exception();
        }
        return nullptr;
    };
    pthread_attr_t attributes;
    pthread_t thread{};
    const bool isStarted = pthread_attr_init(&attributes) == 0 &&
                           pthread_attr_setstacksize(&attributes, kStackBytes) == 0 &&
                           pthread_create(&thread, &attributes, run, &task) == 0;
    if (!isStarted || pthread_join(thread, nullptr) != 0) {
        throw std::runtime_error("no thread with a large stack");
    }
    pthread_attr_destroy(&attributes);
    if (task.failure != nullptr) {
        std::rethrow_exception(task.failure);
    }
}

double isWrong(TDF_Label const& label, std::size_t index, TDF_Label const& reference)
{
    Handle(TDataStd_Integer) number;
    Handle(TDF_Reference) found;
    const bool isRight = label.FindAttribute(TDataStd_Integer::GetID(), number) &&
                         number->Get() == static_cast<int>(index) &&
                         label.FindAttribute(TDF_Reference::GetID(), found) &&
                         found->Get() == reference;
    return isRight ? 0.0 : 1.0;
}

}  // namespace

OcafCloneFigures ocafClone(std::size_t count)
{
    const Handle(TDocStd_Application) application = new TDocStd_Application;
    BinDrivers::DefineFormat(application);
    Handle(TDocStd_Document) document;
    application->NewDocument("BinOcaf", document);
    const TDF_Label source = document->Main().FindChild(1);
    const std::vector<TDF_Label> labels = entitiesOf(source, count, /*creates=*/true);
    for (std::size_t index = 0; index < count; ++index) {
        const TDF_Label reference = labels[contentOf(index, count).reference];
        fill(labels[index], index, count, reference);
        fill(labels[index].FindChild(kOwnedTag), index, count, reference);
    }

    OcafCloneFigures figures;
    const TDF_Label target = document->Main().FindChild(2);
    const Stopwatch watch;
    TDF_CopyLabel copier(source, target);
    onLargeStack([&] { copier.Perform(); });
    figures.cloneSeconds = watch.seconds();
    if (!copier.IsDone()) {
        throw std::runtime_error("OCAF does not copy the label");
    }
    figures.peakMib = peakResidentMib();
    const std::vector<TDF_Label> copies = entitiesOf(target, count, /*creates=*/false);
    if (copies.size() != count) {
        throw std::runtime_error("OCAF copied another number of labels");
    }
    for (std::size_t index = 0; index < count; ++index) {
        const TDF_Label reference = copies[contentOf(index, count).reference];
        figures.wrong += isWrong(copies[index], index, reference);
        figures.wrong += isWrong(copies[index].FindChild(kOwnedTag), index, reference);
    }
    return figures;
}

}  // namespace bench
