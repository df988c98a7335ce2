#include "kernel/kernel_import.h"

#include "kernel/byte_stream_impl.h"
#include "kernel/file_readers_impl.h"
#include "kernel/isolated_process.h"
#include "kernel/kernel_guard_impl.h"
#include "kernel/kernel_solid_impl.h"

#include <STEPControl_Controller.hxx>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace zemhost {

namespace {

//--------------------------------------------------------------------------------------------------
// What kind of file

/// Content that a file can have.
enum class Content
{
    kStep,
    kTextBrep,
    kBinaryBrep,
};

constexpr std::string_view kStepBegin = "ISO-10303-21;";
constexpr std::string_view kStepEnd = "END-ISO-10303-21";
constexpr std::string_view kTextBrepMark = "CASCADE Topology V";
constexpr std::string_view kTextBrepBegin = "DBRep_DrawableShape";
constexpr std::string_view kBinaryBrepMark = "Open CASCADE Topology V";
constexpr std::string_view kGzipMark = "\x1F\x8B";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

const char* const kKnownFormats = "give a STEP (.step, .stp) or BREP (.brep, .brp) file";

std::string lowerExtension(const std::filesystem::path& path)
{
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return extension;
}

std::string expectedFormatName(const std::filesystem::path& path)
{
    const std::string extension = lowerExtension(path);
    if (extension == ".step" || extension == ".stp") {
        return "STEP";
    }
    if (extension == ".brep" || extension == ".brp") {
        return "BREP";
    }
    return "STEP or BREP";
}

/// Reads up to `size` bytes at `offset`.
std::string readPart(std::ifstream& stream, std::uintmax_t offset, std::size_t size)
{
    std::string part(size, '\0');
    stream.clear();
    stream.seekg(static_cast<std::streamoff>(offset));
    stream.read(part.data(), static_cast<std::streamsize>(size));
    part.resize(static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    return part;
}

std::string_view skipBlanks(std::string_view text)
{
    if (text.starts_with(kUtf8Mark)) {
        text.remove_prefix(kUtf8Mark.size());
    }
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) {
        text.remove_prefix(1);
    }
    return text;
}

/// The first bytes as a message can show them.
std::string shownBeginning(std::string_view text)
{
    constexpr std::size_t kShownBytes = 24;
    std::string shown;
    for (const char letter : text.substr(0, kShownBytes)) {
        shown += std::isprint(static_cast<unsigned char>(letter)) != 0 ? letter : '.';
    }
    return "\"" + shown + "\"";
}

/// True if `text` is a beginning of `mark` that stops short.
bool isCutShort(std::string_view text, std::string_view mark)
{
    return !text.empty() && text.size() < mark.size() && mark.starts_with(text);
}

[[noreturn]] void throwTruncated(const std::string& file, const char* what)
{
    throw KernelError(KernelFailure::kTruncatedFile, file,
                      std::string(what) + " is cut off: its end is missing",
                      "copy or export the file again");
}

void checkStepEnd(const std::string& file, std::ifstream& stream, std::uintmax_t size)
{
    // After the last section only blanks, comments and a signature may stand.
    constexpr std::uintmax_t kTailBytes = 64 * 1024;
    const std::uintmax_t tail = std::min(size, kTailBytes);
    const std::string end = readPart(stream, size - tail, static_cast<std::size_t>(tail));
    if (end.find(kStepEnd) == std::string::npos) {
        throwTruncated(file, "the STEP file");
    }
}

/// Finds out what a file holds. \throws KernelError for a file that no reader should see.
Content sniffContent(const std::filesystem::path& path)
{
    constexpr std::size_t kHeadBytes = 4096;
    const std::string file = path.string();
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        const bool isHidden = error && error != std::errc::no_such_file_or_directory;
        throw KernelError(isHidden ? KernelFailure::kUnreadableFile : KernelFailure::kMissingFile,
                          file, isHidden ? error.message() : "no such file", "check the path");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw KernelError(KernelFailure::kMissingFile, file, "not a file",
                          "give the path of a file, not of a folder or device");
    }
    std::ifstream stream(path, std::ios::binary);
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (!stream.is_open() || error) {
        throw KernelError(KernelFailure::kUnreadableFile, file, "the file cannot be opened",
                          "check the permission to read it");
    }
    if (size == 0) {
        throw KernelError(KernelFailure::kEmptyFile, file, "the file is empty", kKnownFormats);
    }
    const std::string head = readPart(stream, 0, kHeadBytes);
    if (head.empty()) {
        throw KernelError(KernelFailure::kUnreadableFile, file, "the file cannot be read",
                          "check the disk and the permission to read it");
    }
    const std::string_view text = skipBlanks(head);
    if (text.starts_with(kStepBegin)) {
        checkStepEnd(file, stream, size);
        return Content::kStep;
    }
    // The marks lie one inside the other, the longer one is asked first.
    if (text.starts_with(kBinaryBrepMark)) {
        return Content::kBinaryBrep;
    }
    if (text.starts_with(kTextBrepMark) || text.starts_with(kTextBrepBegin)) {
        if (head.find(kTextBrepMark) == std::string::npos) {
            throwTruncated(file, "the BREP file");
        }
        return Content::kTextBrep;
    }
    if (isCutShort(text, kStepBegin)) {
        throwTruncated(file, "the STEP file");
    }
    if (isCutShort(text, kBinaryBrepMark) || isCutShort(text, kTextBrepMark) ||
        isCutShort(text, kTextBrepBegin)) {
        throwTruncated(file, "the BREP file");
    }
    if (text.starts_with(kGzipMark)) {
        throw KernelError(KernelFailure::kUnknownFormat, file, "the file is compressed",
                          "unpack it first");
    }
    throw KernelError(KernelFailure::kUnknownFormat, file,
                      "not a " + expectedFormatName(path) + " file: it begins with " +
                          shownBeginning(head),
                      kKnownFormats);
}

//--------------------------------------------------------------------------------------------------
// Reading and measuring, on either side of the process border

/// A solid that can be stored and measured.
struct MeasuredSolid
{
    KernelSolid solid;
    std::string name;
};

/// Takes what an import finds, one thing at a time. Progress answers whether to go on.
class ImportReceiver
{
public:
    virtual ~ImportReceiver() = default;
    virtual bool progress(double fraction, const std::string& step) = 0;
    virtual void solid(const MeasuredSolid& solid) = 0;
    virtual void warning(const std::string& text) = 0;
};

/// Where each step of an import lies on the way from 0 to 1. Measuring, with the kernel's check of
/// each solid, takes most of the time.
struct ProgressSpan
{
    const char* step;
    double begin;
    double end;
};

constexpr ProgressSpan kReading = {"reading", 0.0, 0.15};
constexpr ProgressSpan kTranslating = {"translating", 0.15, 0.3};
constexpr ProgressSpan kMeasuring = {"measuring", 0.3, 1.0};

StepProgress reporter(ImportReceiver& receiver, const ProgressSpan& span)
{
    return [&receiver, span](double fraction) {
        const double inside = std::clamp(fraction, 0.0, 1.0);
        return receiver.progress(span.begin + (span.end - span.begin) * inside, span.step);
    };
}

RawImport readContent(const std::string& file, Content content, ImportReceiver& receiver)
{
    if (content == Content::kStep) {
        return readStepFile(file, reporter(receiver, kReading), reporter(receiver, kTranslating));
    }
    return readBrepFile(file, content == Content::kBinaryBrep, reporter(receiver, kReading));
}

std::string solidTitle(std::size_t number, const std::string& name)
{
    return "solid " + std::to_string(number) + (name.empty() ? "" : " (" + name + ")");
}

void importContent(const std::string& file, Content content, ImportReceiver& receiver)
{
    silenceKernel();
    const RawImport raw = readContent(file, content, receiver);
    for (const std::string& warning : raw.warnings) {
        receiver.warning(warning);
    }
    const StepProgress measuring = reporter(receiver, kMeasuring);
    std::size_t number = 0;
    std::string lastFault;
    bool isAnyMeasured = false;
    for (const RawSolid& found : raw.solids) {
        const double done = static_cast<double>(number) / static_cast<double>(raw.solids.size());
        if (!measuring(done)) {
            return;
        }
        ++number;
        try {
            const KernelSolid solid = KernelSolidImpl::fromShape(found.shape);
            if (!solid.isValid()) {
                receiver.warning(solidTitle(number, found.name) +
                                 ": the kernel's check finds faults in it");
            }
            receiver.solid({solid, found.name});
            isAnyMeasured = true;
        } catch (const KernelError& fault) {
            if (fault.failure() == KernelFailure::kMemoryLimit) {
                throw;
            }
            lastFault = solidTitle(number, found.name) + ": " + fault.reason();
            receiver.warning(lastFault + "; left out");
        }
    }
    if (!isAnyMeasured) {
        throw KernelError(KernelFailure::kDamagedFile, "", "no solid is usable: " + lastFault,
                          "export the file again");
    }
    (void)measuring(1);  // nothing is left to stop
}

//--------------------------------------------------------------------------------------------------
// Messages between the processes

enum class ImportMessage : std::uint8_t
{
    kProgress = 1,  ///< fraction, step
    kSolid = 2,     ///< name, figures, bytes
    kWarning = 3,   ///< text
    kError = 4,     ///< failure, reason, advice
};

std::uint8_t messageKind(ImportMessage message)
{
    return static_cast<std::uint8_t>(message);
}

void putPoint(ByteWriter& writer, const KernelPoint& point)
{
    for (const double coordinate : point) {
        writer.putDouble(coordinate);
    }
}

KernelPoint getPoint(ByteReader& reader)
{
    KernelPoint point{};
    for (double& coordinate : point) {
        coordinate = reader.getDouble();
    }
    return point;
}

void putFigures(ByteWriter& writer, const SolidFigures& figures)
{
    putPoint(writer, figures.box.min);
    putPoint(writer, figures.box.max);
    writer.putDouble(figures.volumeMm3);
    writer.putDouble(figures.areaMm2);
    writer.putByte(figures.valid ? 1 : 0);
    writer.putUint64(figures.faces.size());
    for (const FaceInfo& face : figures.faces) {
        writer.putByte(static_cast<std::uint8_t>(face.kind));
        writer.putDouble(face.areaMm2);
    }
    writer.putUint64(figures.edges.size());
    for (const EdgeInfo& edge : figures.edges) {
        writer.putByte(static_cast<std::uint8_t>(edge.kind));
        writer.putDouble(edge.lengthMm);
    }
    writer.putUint64(figures.vertices.size());
    for (const VertexInfo& vertex : figures.vertices) {
        putPoint(writer, vertex.point);
    }
}

SolidFigures getFigures(ByteReader& reader)
{
    SolidFigures figures;
    figures.box.min = getPoint(reader);
    figures.box.max = getPoint(reader);
    figures.volumeMm3 = reader.getDouble();
    figures.areaMm2 = reader.getDouble();
    figures.valid = reader.getByte() != 0;
    figures.faces.resize(reader.getCount(1 + sizeof(double)));
    for (FaceInfo& face : figures.faces) {
        face.kind = static_cast<SurfaceKind>(reader.getByte());
        face.areaMm2 = reader.getDouble();
    }
    figures.edges.resize(reader.getCount(1 + sizeof(double)));
    for (EdgeInfo& edge : figures.edges) {
        edge.kind = static_cast<CurveKind>(reader.getByte());
        edge.lengthMm = reader.getDouble();
    }
    figures.vertices.resize(reader.getCount(3 * sizeof(double)));
    for (VertexInfo& vertex : figures.vertices) {
        vertex.point = getPoint(reader);
    }
    return figures;
}

/// In the child: sends what is found to the parent.
class SendingReceiver : public ImportReceiver
{
public:
    explicit SendingReceiver(MessageSink& sink) : m_sink(sink) {}

    bool progress(double fraction, const std::string& step) override
    {
        ByteWriter writer;
        writer.putDouble(fraction);
        writer.putText(step);
        m_sink.send(messageKind(ImportMessage::kProgress), writer.bytes());
        return true;  // the parent ends this process when it wants to stop
    }

    void solid(const MeasuredSolid& solid) override
    {
        // The parent will read these bytes without protection; every solid has been made from its
        // bytes in this process before.
        const std::vector<unsigned char> bytes = solid.solid.toBytes();
        ByteWriter writer;
        writer.putText(solid.name);
        putFigures(writer, KernelSolidImpl::of(solid.solid).figures());
        writer.putBlock(bytes);
        m_sink.send(messageKind(ImportMessage::kSolid), writer.bytes());
    }

    void warning(const std::string& text) override
    {
        ByteWriter writer;
        writer.putText(text);
        m_sink.send(messageKind(ImportMessage::kWarning), writer.bytes());
    }

    void error(const KernelError& error)
    {
        ByteWriter writer;
        writer.putByte(static_cast<std::uint8_t>(error.failure()));
        writer.putText(error.reason());
        writer.putText(error.advice());
        m_sink.send(messageKind(ImportMessage::kError), writer.bytes());
    }

private:
    MessageSink& m_sink;
};

/// In the parent, or in the only process: gathers the result.
class GatheringReceiver : public ImportReceiver
{
public:
    GatheringReceiver(const ImportProgress& progress, ImportResult& result)
        : m_progress(progress), m_result(result)
    {
    }

    bool progress(double fraction, const std::string& step) override
    {
        // The kernel's own scopes overlap a little at their ends.
        m_fraction = std::max(m_fraction, fraction);
        m_isCancelled = m_isCancelled || (m_progress && !m_progress(m_fraction, step));
        return !m_isCancelled;
    }

    void solid(const MeasuredSolid& solid) override
    {
        m_result.solids.push_back({solid.solid, solid.name});
    }

    void warning(const std::string& text) override { m_result.warnings.push_back(text); }

    bool isCancelled() const { return m_isCancelled; }

    /// Takes one message of the child. \throws KernelError that the child sent.
    bool take(const std::string& file, std::uint8_t kind, std::span<const unsigned char> payload)
    {
        ByteReader reader(payload);
        if (kind == messageKind(ImportMessage::kProgress)) {
            const double fraction = reader.getDouble();
            return progress(fraction, reader.getText());
        }
        if (kind == messageKind(ImportMessage::kSolid)) {
            std::string name = reader.getText();
            SolidFigures figures = getFigures(reader);
            solid({KernelSolidImpl::fromBytes(reader.getBlock(), std::move(figures)),
                   std::move(name)});
            return true;
        }
        if (kind == messageKind(ImportMessage::kWarning)) {
            warning(reader.getText());
            return true;
        }
        const auto failure = static_cast<KernelFailure>(reader.getByte());
        std::string reason = reader.getText();
        throw KernelError(failure, file, std::move(reason), reader.getText());
    }

private:
    const ImportProgress& m_progress;
    ImportResult& m_result;
    double m_fraction = 0;
    bool m_isCancelled = false;
};

//--------------------------------------------------------------------------------------------------

std::string secondsText(std::chrono::milliseconds time)
{
    std::string text = std::to_string(static_cast<double>(time.count()) / 1000);
    text.erase(text.find_last_not_of('0') + 1);
    return (text.back() == '.' ? text + "0" : text) + " s";
}

[[noreturn]] void throwCancelled(const std::string& file)
{
    throw KernelError(KernelFailure::kCancelled, file, "cancelled", "");
}

/// Nothing for a child that finished; the error for every other end.
void checkEnd(ProcessEnd end, const std::string& file, const ImportOptions& options)
{
    switch (end) {
    case ProcessEnd::kFinished:
        return;
    case ProcessEnd::kStopped:
        throwCancelled(file);
    case ProcessEnd::kTimeLimit:
        throw KernelError(KernelFailure::kTimeLimit, file,
                          "the import takes longer than " + secondsText(options.timeLimit),
                          "allow more time, or check the file in the program that wrote it");
    case ProcessEnd::kMemoryLimit:
        throw KernelError(KernelFailure::kMemoryLimit, file,
                          "the import needs more than " +
                              std::to_string(options.memoryLimitBytes >> 20) + " MiB",
                          "allow more memory, or check the file in the program that wrote it");
    case ProcessEnd::kCrashed:
        break;
    }
    throw KernelError(KernelFailure::kKernelCrash, file,
                      "the modelling kernel crashed on this content",
                      "check the file in the program that wrote it and export it again");
}

/// Runs an import in a child process. `work` runs there and tells its receiver what it finds.
void runInChild(const std::string& file, const ImportOptions& options, ImportResult& result,
                const std::function<void(ImportReceiver&)>& work)
{
    GatheringReceiver gathering(options.progress, result);
    const ProcessLimits limits{options.timeLimit, options.memoryLimitBytes};
    const ChildWork childWork = [&work, &limits](MessageSink& sink) {
        SendingReceiver sending(sink);
        try {
            work(sending);
        } catch (const KernelError& error) {
            if (error.failure() == KernelFailure::kMemoryLimit || isShortOfMemory(limits)) {
                throw std::bad_alloc();
            }
            sending.error(error);
        }
    };
    const MessageHandler handler = [&](std::uint8_t kind, std::span<const unsigned char> payload) {
        return gathering.take(file, kind, payload);
    };
    checkEnd(runIsolated(limits, childWork, handler), file, options);
}

void runHere(const std::string& file, Content content, const ImportOptions& options,
             ImportResult& result)
{
    GatheringReceiver gathering(options.progress, result);
    try {
        importContent(file, content, gathering);
    } catch (const KernelError& error) {
        if (gathering.isCancelled()) {
            throwCancelled(file);
        }
        throw KernelError(error.failure(), file, error.reason(), error.advice());
    }
    if (gathering.isCancelled()) {
        throwCancelled(file);
    }
}

ImportResult importContentOf(const std::filesystem::path& path, Content content,
                             const ImportOptions& options)
{
    const std::string file = path.string();
    ImportResult result;
    result.format = content == Content::kStep ? ImportFormat::kStep : ImportFormat::kBrep;
    if (options.isolation == ImportIsolation::kSameProcess) {
        runHere(file, content, options, result);
        return result;
    }
    if (content == Content::kStep) {
        // Registering the STEP entities takes longer than reading a small file; done here, every
        // later child finds it done.
        STEPControl_Controller::Init();
    }
    runInChild(file, options, result,
               [&](ImportReceiver& receiver) { importContent(file, content, receiver); });
    return result;
}

[[noreturn]] void throwOtherFormat(const std::filesystem::path& path, const char* found,
                                   const char* wanted)
{
    throw KernelError(KernelFailure::kUnknownFormat, path.string(),
                      std::string("not a ") + wanted + " file: it holds " + found,
                      std::string("give a ") + wanted + " file");
}

}  // namespace

ImportResult importFile(const std::filesystem::path& path, const ImportOptions& options)
{
    return importContentOf(path, sniffContent(path), options);
}

ImportResult importStep(const std::filesystem::path& path, const ImportOptions& options)
{
    const Content content = sniffContent(path);
    if (content != Content::kStep) {
        throwOtherFormat(path, "BREP data", "STEP");
    }
    return importContentOf(path, content, options);
}

ImportResult importBrep(const std::filesystem::path& path, const ImportOptions& options)
{
    const Content content = sniffContent(path);
    if (content == Content::kStep) {
        throwOtherFormat(path, "STEP data", "BREP");
    }
    return importContentOf(path, content, options);
}

KernelSolid readUntrustedBytes(std::span<const unsigned char> bytes, const ImportOptions& options)
{
    if (options.isolation == ImportIsolation::kSameProcess) {
        return KernelSolid::fromBytes(bytes);
    }
    ImportResult result;
    runInChild("", options, result, [bytes](ImportReceiver& receiver) {
        silenceKernel();
        receiver.solid({KernelSolid::fromBytes(bytes), ""});
    });
    if (result.solids.size() != 1) {
        throw KernelError(KernelFailure::kDamagedBytes, "", "stored solid: nothing was read", "");
    }
    return result.solids.front().solid;
}

}  // namespace zemhost
