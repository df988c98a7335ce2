#include "kernel/kernel_edit.h"

#include "kernel/byte_stream_impl.h"
#include "kernel/isolated_process.h"
#include "kernel/kernel_solid_impl.h"
#include "kernel/lineage_match_impl.h"
#include "kernel/perform_edit_impl.h"
#include "kernel/recipe_model_impl.h"
#include "kernel/recipe_stream_impl.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

namespace zemhost {

namespace {

//--------------------------------------------------------------------------------------------------
// In this process

EditResult applyHere(const KernelSolid& solid, RecipeStep step, const EditOptions& options)
{
    checkStep(step);
    const std::vector<Subent> items = resolveReferences(solid, step);
    OperationProgress progress;
    if (options.progress) {
        progress = [&options, title = stepTitle(step)](double fraction) {
            return options.progress(fraction, title);
        };
    }
    PerformedEdit edit = performStep(solid, step, items, options, progress);
    return {std::move(edit.solid), std::move(edit.map), std::move(step), edit.times,
            std::move(edit.warnings)};
}

/// From the numbers of a stored solid to those of the same one made again.
SubentMap alignStored(const KernelSolid& stored, const KernelSolid& made)
{
    const KernelSolidImpl& before = KernelSolidImpl::of(stored);
    const KernelSolidImpl& after = KernelSolidImpl::of(made);
    if (before.payload() == after.payload()) {
        return SubentMap::identity(stored.counts());
    }
    SubentMap map;
    if (!matchByPlace(before.numbers(), after.numbers(), map)) {
        throw KernelError(KernelFailure::kBadArgument, "", "the solid is not what its recipe makes",
                          "make it anew");
    }
    return map;
}

RecomputeResult recomputeHere(const KernelSolid& solid, const Recipe& before, const Recipe& after,
                              const EditOptions& options)
{
    checkComparable(before, after);
    EditOptions half = options;
    const auto progressOfHalf = [&options](double begin) {
        return [&options, begin](double fraction, const std::string& step) {
            return options.progress(begin + fraction / 2, step);
        };
    };
    if (options.progress) {
        half.progress = progressOfHalf(0);
    }
    const RecipeModel old = RecipeModel::make(before, half);
    const SubentMap aligned = alignStored(solid, old.solid());
    if (options.progress) {
        half.progress = progressOfHalf(0.5);
    }
    const RecipeModel found = old.recompute(after, half);
    return {found.solid(), aligned.then(found.map()), found.recipe(), found.times(),
            found.warnings()};
}

//--------------------------------------------------------------------------------------------------
// Between the processes

enum class EditMessage : std::uint8_t
{
    kProgress = 1,  ///< fraction, step
    kResult = 2,    ///< solid, map, times, warnings, and what the edit adds
    kError = 3,     ///< failure, reason, advice
};

void putTimes(ByteWriter& writer, const EditTimes& times)
{
    for (const double seconds : {times.kernel, times.history, times.storing, times.checking}) {
        writer.putDouble(seconds);
    }
}

EditTimes getTimes(ByteReader& reader)
{
    EditTimes times;
    for (double* seconds : {&times.kernel, &times.history, &times.storing, &times.checking}) {
        *seconds = reader.getDouble();
    }
    return times;
}

void putWarnings(ByteWriter& writer, const std::vector<std::string>& warnings)
{
    writer.putUint64(warnings.size());
    for (const std::string& warning : warnings) {
        writer.putText(warning);
    }
}

std::vector<std::string> getWarnings(ByteReader& reader)
{
    std::vector<std::string> warnings(reader.getCount(sizeof(std::uint64_t)));
    for (std::string& warning : warnings) {
        warning = reader.getText();
    }
    return warnings;
}

/// What the results of all edits have.
template <typename Result>
void putCommon(ByteWriter& writer, const Result& result)
{
    writer.putBlock(result.solid.toBytes());
    writer.putBlock(result.map.toBytes());
    putTimes(writer, result.times);
    putWarnings(writer, result.warnings);
}

std::vector<unsigned char> bytesOf(const EditResult& result)
{
    ByteWriter writer;
    putCommon(writer, result);
    writeStep(writer, result.step);
    return writer.takeBytes();
}

std::vector<unsigned char> bytesOf(const RecomputeResult& result)
{
    ByteWriter writer;
    putCommon(writer, result);
    writer.putBlock(result.recipe.toBytes());
    return writer.takeBytes();
}

EditResult readResult(ByteReader& reader, const EditResult*)
{
    KernelSolid solid = KernelSolid::fromBytes(reader.getBlock());
    SubentMap map = SubentMap::fromBytes(reader.getBlock());
    const EditTimes times = getTimes(reader);
    std::vector<std::string> warnings = getWarnings(reader);
    return {std::move(solid), std::move(map), readStep(reader), times, std::move(warnings)};
}

RecomputeResult readResult(ByteReader& reader, const RecomputeResult*)
{
    KernelSolid solid = KernelSolid::fromBytes(reader.getBlock());
    SubentMap map = SubentMap::fromBytes(reader.getBlock());
    const EditTimes times = getTimes(reader);
    std::vector<std::string> warnings = getWarnings(reader);
    return {std::move(solid), std::move(map), Recipe::fromBytes(reader.getBlock()), times,
            std::move(warnings)};
}

//--------------------------------------------------------------------------------------------------
// In a child process

std::uint8_t messageKind(EditMessage message)
{
    return static_cast<std::uint8_t>(message);
}

EditProgress progressInto(MessageSink& sink)
{
    return [&sink](double fraction, const std::string& step) {
        ByteWriter writer;
        writer.putDouble(fraction);
        writer.putText(step);
        sink.send(messageKind(EditMessage::kProgress), writer.bytes());
        return true;  // the parent ends this process when it wants to stop
    };
}

void sendError(MessageSink& sink, const KernelError& error)
{
    ByteWriter writer;
    writer.putByte(static_cast<std::uint8_t>(error.failure()));
    writer.putText(error.reason());
    writer.putText(error.advice());
    sink.send(messageKind(EditMessage::kError), writer.bytes());
}

[[noreturn]] void throwSent(ByteReader& reader)
{
    const auto failure = static_cast<KernelFailure>(reader.getByte());
    std::string reason = reader.getText();
    throw KernelError(failure, "", std::move(reason), reader.getText());
}

void checkEnd(ProcessEnd end)
{
    switch (end) {
    case ProcessEnd::kFinished:
        return;
    case ProcessEnd::kStopped:
        throw KernelError(KernelFailure::kCancelled, "", "cancelled", "");
    case ProcessEnd::kTimeLimit:
        throw KernelError(KernelFailure::kTimeLimit, "", "the edit takes longer than its limit",
                          "allow more time, or change the parameters");
    case ProcessEnd::kMemoryLimit:
        throw KernelError(KernelFailure::kMemoryLimit, "",
                          "the edit needs more memory than its limit",
                          "allow more memory, or change the parameters");
    case ProcessEnd::kCrashed:
        break;
    }
    throw KernelError(KernelFailure::kKernelCrash, "", "the modelling kernel crashed in this edit",
                      "change the parameters a little");
}

/// Takes the messages of a child that works for one result.
template <typename Result>
class EditReceiver
{
public:
    explicit EditReceiver(const EditProgress& progress) : m_progress(progress) {}

    bool take(std::uint8_t kind, std::span<const unsigned char> payload)
    {
        ByteReader reader(payload);
        if (kind == messageKind(EditMessage::kProgress)) {
            m_fraction = std::max(m_fraction, reader.getDouble());
            return !m_progress || m_progress(m_fraction, reader.getText());
        }
        if (kind == messageKind(EditMessage::kResult)) {
            m_result.emplace(readResult(reader, static_cast<const Result*>(nullptr)));
            return true;
        }
        throwSent(reader);
    }

    Result result()
    {
        if (!m_result.has_value()) {
            throw KernelError(KernelFailure::kKernelCrash, "", "the edit ended without a result",
                              "");
        }
        return std::move(*m_result);
    }

private:
    const EditProgress& m_progress;
    double m_fraction = 0;
    std::optional<Result> m_result;
};

/// Runs `edit` in a child process. It is called with the options for there.
template <typename Edit>
auto runInChild(const EditOptions& options, const Edit& edit)
{
    using Result = decltype(edit(options));
    const ProcessLimits limits{options.timeLimit, options.memoryLimitBytes};
    const ChildWork work = [&](MessageSink& sink) {
        EditOptions inside = options;
        inside.progress = options.progress ? progressInto(sink) : EditProgress();
        try {
            sink.send(messageKind(EditMessage::kResult), bytesOf(edit(inside)));
        } catch (const KernelError& error) {
            if (error.failure() == KernelFailure::kMemoryLimit || isShortOfMemory(limits)) {
                throw std::bad_alloc();
            }
            sendError(sink, error);
        }
    };
    EditReceiver<Result> receiver(options.progress);
    const MessageHandler handler = [&](std::uint8_t kind, std::span<const unsigned char> payload) {
        return receiver.take(kind, payload);
    };
    checkEnd(runIsolated(limits, work, handler));
    return receiver.result();
}

template <typename Edit>
auto run(const EditOptions& options, const Edit& edit)
{
    return options.isolation == EditIsolation::kSameProcess ? edit(options)
                                                            : runInChild(options, edit);
}

}  // namespace

EditResult applyEdit(const KernelSolid& solid, const RecipeStep& step, const EditOptions& options)
{
    return run(options, [&](const EditOptions& inside) { return applyHere(solid, step, inside); });
}

RecomputeResult recomputeSolid(const KernelSolid& solid, const Recipe& before, const Recipe& after,
                               const EditOptions& options)
{
    return run(options, [&](const EditOptions& inside) {
        return recomputeHere(solid, before, after, inside);
    });
}

RecomputeResult makeSolid(const Recipe& recipe, const EditOptions& options)
{
    return run(options, [&](const EditOptions& inside) {
        const RecipeModel made = RecipeModel::make(recipe, inside);
        return RecomputeResult{made.solid(), made.map(), made.recipe(), made.times(),
                               made.warnings()};
    });
}

}  // namespace zemhost
