#include "cli/part_paths.h"

#include "cli/drawing.h"
#include "cli/text_format.h"
#include "db/od_db_3d_solid.h"
#include "db/od_db_block_reference.h"
#include "db/od_db_block_table.h"
#include "db/od_db_xref_man.h"

#include "protocol/host_error.h"

#include <array>
#include <charconv>
#include <string_view>

namespace zemhost {

namespace {

struct PartKind
{
    char const* name;
    char const* all;
    OdDb::SubentType type;
};

constexpr std::array<PartKind, 3> kPartKinds = {{
    {"face", "faces", OdDb::SubentType::kFaceSubentType},
    {"edge", "edges", OdDb::SubentType::kEdgeSubentType},
    {"vertex", "vertices", OdDb::SubentType::kVertexSubentType},
}};

std::vector<std::string> split(std::string const& text, char separator)
{
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = text.find(separator, begin);
        parts.push_back(text.substr(begin, end - begin));
        if (end == std::string::npos) {
            return parts;
        }
        begin = end + 1;
    }
}

[[noreturn]] void refuse(std::string const& word)
{
    throw HostError(ExitCode::kUsage, word, "names no part of a solid",
                    "give HANDLE:face:12, HANDLE:edges, HANDLE:all or HANDLE");
}

/// What an insert shows: a block, which is model space for an external drawing.
OdDbObjectId shownBy(OdDbBlockReference const& insert, std::string const& handle)
{
    const OdDbObjectId id = insert.blockTableRecord();
    OdDbObjectId shown = id;
    guardDrawing([&] {
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::cast(id.openObject().get());
        if (!block.isNull() && block->isFromExternalReference()) {
            (void)OdDbXRefMan::load(id);
            OdDbDatabase const* const external = block->xrefDatabase();
            shown = external == nullptr ? OdDbObjectId::kNull : external->getModelSpaceId();
        }
    });
    if (shown.isNull()) {
        throw HostError(ExitCode::kFindings, handle,
                        "shows an external drawing that can't be loaded",
                        "'zemhost xref list' tells why");
    }
    return shown;
}

/// The ids of a way such as "1F/2A", each object in the block that the one before it shows.
OdDbObjectIdArray wayFromText(OdDbDatabase& database, std::string const& text)
{
    OdDbObjectIdArray ids;
    OdDbObjectId block;
    const std::vector<std::string> handles = split(text, '/');
    for (std::size_t index = 0; index < handles.size(); ++index) {
        OdDbDatabase& drawing = block.isNull() ? database : *block.database();
        const OdDbObjectPtr object = openByHandle(drawing, handles[index], OdDb::kForRead);
        if (!block.isNull() && object->ownerId() != block) {
            throw HostError(ExitCode::kFindings, handles[index],
                            "isn't in the block that the insert before it shows", "");
        }
        if (index + 1 < handles.size()) {
            const OdDbBlockReferencePtr insert = OdDbBlockReference::cast(object.get());
            if (insert.isNull()) {
                throw HostError(ExitCode::kUsage, handles[index],
                                "is no insert, which only the last object may be", "");
            }
            block = shownBy(*insert, handles[index]);
        }
        ids.append(object->objectId());
    }
    return ids;
}

OdDb3dSolid::Counts countsAt(OdDbObjectId id, std::string const& word)
{
    const OdDb3dSolidPtr solid = OdDb3dSolid::cast(id.openObject().get());
    if (solid.isNull()) {
        throw HostError(ExitCode::kUsage, word, "is no solid, and has no parts", "");
    }
    return solid->counts();
}

void appendAll(OdDbObjectIdArray const& ids, OdDb::SubentType type, std::uint32_t count,
               std::vector<OdDbFullSubentPath>& paths)
{
    for (std::uint32_t index = 1; index <= count; ++index) {
        paths.emplace_back(ids, OdDbSubentId(type, index));
    }
}

OdDbFullSubentPath onePart(OdDbObjectIdArray const& ids, PartKind const& kind,
                           std::string const& number, std::uint32_t count, std::string const& word)
{
    std::uint32_t index = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), index);
    if (error != std::errc() || end != number.data() + number.size()) {
        refuse(word);
    }
    if (index == 0 || index > count) {
        throw HostError(ExitCode::kFindings, word,
                        "the solid has " + counted(count, kind.name) + ", numbered from 1", "");
    }
    return {ids, OdDbSubentId(kind.type, index)};
}

}  // namespace

std::vector<OdDbFullSubentPath> pathsFromWord(OdDbDatabase& database, std::string const& word)
{
    const std::vector<std::string> fields = split(word, ':');
    if (fields.size() > 3) {
        refuse(word);
    }
    const OdDbObjectIdArray ids = wayFromText(database, fields[0]);
    if (fields.size() == 1) {
        return {OdDbFullSubentPath(ids, OdDbSubentId())};
    }
    const OdDb3dSolid::Counts counts = countsAt(ids[ids.size() - 1], word);
    std::vector<OdDbFullSubentPath> paths;
    bool isKnown = fields.size() == 2 && fields[1] == "all";
    for (PartKind const& kind : kPartKinds) {
        if (fields.size() == 2 && (fields[1] == "all" || fields[1] == kind.all)) {
            appendAll(ids, kind.type, counts.of(kind.type), paths);
            isKnown = true;
        } else if (fields.size() == 3 && fields[1] == kind.name) {
            return {onePart(ids, kind, fields[2], counts.of(kind.type), word)};
        }
    }
    if (!isKnown) {
        refuse(word);
    }
    return paths;
}

OdDbFullSubentPath pathFromWord(OdDbDatabase& database, std::string const& word)
{
    const std::vector<OdDbFullSubentPath> paths = pathsFromWord(database, word);
    if (paths.size() != 1) {
        throw HostError(ExitCode::kUsage, word, "has to name one part", "such as 2A:face:12");
    }
    return paths.front();
}

OdDbObjectId blockOfPath(OdDbFullSubentPath const& path)
{
    if (path.objectIds().isEmpty()) {
        return OdDbObjectId::kNull;
    }
    const OdDbObjectPtr first = path.objectIds()[0].openObject(OdDb::kForRead, /*openErased=*/true);
    return first.isNull() ? OdDbObjectId::kNull : first->ownerId();
}

std::string partText(OdDbSubentId part)
{
    for (PartKind const& kind : kPartKinds) {
        if (kind.type == part.type()) {
            return std::string(kind.name) + ' ' + std::to_string(part.index());
        }
    }
    return {};
}

std::string pathText(OdDbFullSubentPath const& path)
{
    std::string text;
    for (OdDbObjectId id : path.objectIds()) {
        text += (text.empty() ? "" : "/") + toText(id.getHandle());
    }
    std::string part = partText(path.subentId());
    if (!part.empty()) {
        part[part.find(' ')] = ':';
        text += ':' + part;
    }
    return text;
}

}  // namespace zemhost
