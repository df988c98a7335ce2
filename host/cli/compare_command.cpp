#include "cli/commands.h"
#include "cli/drawing.h"
#include "cli/text_format.h"
#include "store/od_db_file_filer.h"

#include <iostream>
#include <optional>
#include <set>

namespace zemhost {

namespace {

/// An object, or the settings, as a drawing stores them: ids are handles, so two drawings compare.
struct StoredForm
{
    std::string className;
    std::vector<std::uint8_t> body;
    std::vector<std::uint8_t> references;

    friend bool operator==(StoredForm const&, StoredForm const&) = default;
};

StoredForm storedForm(OdDbObject const& object, OdDbDatabase& database)
{
    OdStaticRxObject<OdDbFileFiler> filer(&database);
    object.dwgOutFields(&filer);
    return {classNameOf(object),
            {filer.body().begin(), filer.body().end()},
            {filer.references().begin(), filer.references().end()}};
}

/// Nothing for an object that isn't there or can't be read.
std::optional<StoredForm> formAt(OdDbDatabase& database, OdDbHandle handle)
{
    const OdDbObjectPtr object = database.getOdDbObjectId(handle).openObject();
    return object.isNull() ? std::nullopt : std::optional(storedForm(*object, database));
}

class Comparison
{
public:
    Comparison(OdDbDatabase& left, OdDbDatabase& right) : m_left(left), m_right(right) {}

    void run()
    {
        if (storedForm(m_left, m_left) != storedForm(m_right, m_right)) {
            note("", "settings differ");
        }
        if (m_left.handseed() != m_right.handseed()) {
            note("", "next handles differ: " + toText(m_left.handseed()) + " and " +
                         toText(m_right.handseed()));
        }
        std::set<OdDbHandle> handles;
        forEachHandle(m_left, [&](OdDbHandle handle) { handles.insert(handle); });
        forEachHandle(m_right, [&](OdDbHandle handle) { handles.insert(handle); });
        for (const OdDbHandle handle : handles) {
            compareObjects(handle);
        }
    }

    std::uint64_t objects() const noexcept { return m_objects; }
    std::uint64_t bytes() const noexcept { return m_bytes; }
    Json const& differences() const noexcept { return m_differences; }

private:
    void compareObjects(OdDbHandle handle)
    {
        const std::optional<StoredForm> left = formAt(m_left, handle);
        const std::optional<StoredForm> right = formAt(m_right, handle);
        ++m_objects;
        if (!left && !right) {
            note(toText(handle), "can't be read in either drawing");
        } else if (!left) {
            note(toText(handle), right->className + " is only in the second drawing");
        } else if (!right) {
            note(toText(handle), left->className + " is only in the first drawing");
        } else if (left->className != right->className) {
            note(toText(handle), "is a " + left->className + " in the first and a " +
                                     right->className + " in the second drawing");
        } else if (*left != *right) {
            note(toText(handle),
                 left->className + " differs, " + sized(sizeOf(*left)) + " and " +
                     sized(sizeOf(*right)) +
                     (left->references == right->references ? "" : ", in what it refers to"));
        } else {
            m_bytes += sizeOf(*left);
        }
    }

    static std::uint64_t sizeOf(StoredForm const& form)
    {
        return form.body.size() + form.references.size();
    }

    void note(std::string const& handle, std::string const& text)
    {
        Json difference;
        difference["handle"] = handle.empty() ? Json() : Json(handle);
        difference["text"] = text;
        m_differences.push_back(std::move(difference));
    }

    OdDbDatabase& m_left;
    OdDbDatabase& m_right;
    std::uint64_t m_objects = 0;
    std::uint64_t m_bytes = 0;
    Json m_differences = Json::array();
};

void printComparison(Comparison const& comparison)
{
    for (Json const& difference : comparison.differences()) {
        std::cout << "  "
                  << (difference["handle"].is_null()
                          ? std::string()
                          : "object " + difference["handle"].get<std::string>() + ' ')
                  << printable(difference["text"].get<std::string>()) << '\n';
    }
    std::cout << counted(comparison.objects(), "object") << " compared: ";
    if (comparison.differences().empty()) {
        std::cout << "all equal, " << counted(comparison.bytes(), "byte") << '\n';
    } else {
        std::cout << counted(comparison.differences().size(), "difference") << '\n';
    }
}

}  // namespace

ExitCode runCompare(HostSession& session, CompareRequest const& request)
{
    const OdDbDatabasePtr left =
        openDrawing(session, request.left, OdDbOpenDrawingMode::kForReading);
    const OdDbDatabasePtr right =
        openDrawing(session, request.right, OdDbOpenDrawingMode::kForReading);
    Comparison comparison(*left, *right);
    guardDrawing([&] { comparison.run(); });
    if (request.json) {
        Json answer;
        answer["objects"] = comparison.objects();
        answer["equalBytes"] = comparison.bytes();
        answer["differences"] = comparison.differences();
        std::cout << toText(answer, 2) << '\n';
    } else {
        printComparison(comparison);
    }
    return comparison.differences().empty() ? ExitCode::kOk : ExitCode::kFindings;
}

}  // namespace zemhost
