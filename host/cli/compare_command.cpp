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

/// One side of a comparison: a form, or why there is none.
struct Side
{
    std::optional<StoredForm> form;
    std::string problem;
    bool isThere = true;
};

Side sideAt(OdDbDatabase& database, OdDbHandle handle)
{
    const OpenedObject opened = tryOpen(database, handle, OdDb::kForRead);
    if (opened.object.isNull()) {
        return {std::nullopt, opened.problem, !database.getOdDbObjectId(handle).isNull()};
    }
    return {storedForm(*opened.object, database), "", true};
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
        const Side left = sideAt(m_left, handle);
        const Side right = sideAt(m_right, handle);
        ++m_objects;
        if (left.form && right.form) {
            compareForms(handle, *left.form, *right.form);
        } else if (!left.form && !right.form) {
            note(toText(handle), "in the first drawing " + left.problem +
                                     "; in the second drawing " + right.problem);
        } else {
            noteOneSided(handle, left, right);
        }
    }

    void noteOneSided(OdDbHandle handle, Side const& left, Side const& right)
    {
        Side const& known = left.form ? left : right;
        Side const& other = left.form ? right : left;
        char const* const here = left.form ? "first" : "second";
        char const* const there = left.form ? "second" : "first";
        note(toText(handle),
             other.isThere
                 ? known.form->className + " in the " + there + " drawing " + other.problem
                 : known.form->className + " is only in the " + here + " drawing");
    }

    void compareForms(OdDbHandle handle, StoredForm const& left, StoredForm const& right)
    {
        if (left.className != right.className) {
            note(toText(handle), "is a " + left.className + " in the first and a " +
                                     right.className + " in the second drawing");
        } else if (left != right) {
            note(toText(handle),
                 left.className + " differs, " + sized(sizeOf(left)) + " and " +
                     sized(sizeOf(right)) +
                     (left.references == right.references ? "" : ", in what it refers to"));
        } else {
            m_bytes += sizeOf(left);
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
