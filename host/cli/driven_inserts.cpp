#include "cli/driven_inserts.h"

#include "assoc/od_db_assoc_network.h"
#include "assoc/od_db_assoc_variable.h"
#include "cli/drawing.h"
#include "cli/drawing_blocks.h"
#include "cli/text_format.h"

#include "protocol/host_error.h"

#include <cmath>

namespace zemhost {

namespace {

constexpr char const* kVariableKey = "ScaleVariable";
constexpr char const* kBaseKey = "BaseScale";

BagJson valueOf(char const* type, BagJson content)
{
    BagJson value;
    value["type"] = type;
    value["value"] = std::move(content);
    return value;
}

[[noreturn]] void refuseBag(OdDbBlockReference const& insert, std::string const& reason)
{
    throw HostError(ExitCode::kFindings, "insert " + toText(insert.handle()), reason,
                    "'zemhost bag' shows and changes its values");
}

OdGeScale3d baseScaleOf(BagJson const& entries, OdDbBlockReference const& insert)
{
    const auto found = entries.find(kBaseKey);
    if (found == entries.end()) {
        return {};
    }
    BagJson const& factors = (*found)["value"];
    if ((*found)["type"] != "array of double" || factors.size() != 3) {
        refuseBag(insert, std::string(kBaseKey) + " is no array of 3 doubles");
    }
    return {factors[0].get<double>(), factors[1].get<double>(), factors[2].get<double>()};
}

std::vector<OdDbObjectId> insertsOf(OdDbObjectId block)
{
    std::vector<OdDbObjectId> inserts;
    const OdDbBlockTableRecordPtr record = OdDbBlockTableRecord::cast(block.openObject().get());
    if (record.isNull() || record->isFromExternalReference()) {
        return inserts;
    }
    for (const auto at = record->newIterator(); !at->done(); at->step()) {
        if (odDbAssocIsOfClass(at->objectId(), OdDbBlockReference::desc())) {
            inserts.push_back(at->objectId());
        }
    }
    return inserts;
}

std::optional<double> valueOfVariable(OdDbObjectId block, OdString const& name)
{
    const OdDbObjectId id = OdDbAssocNetwork::getInstanceFromObject(block);
    const OdDbAssocNetworkPtr network = OdDbAssocNetwork::cast(id.openObject().get());
    if (network.isNull()) {
        return std::nullopt;
    }
    const OdDbAssocVariablePtr variable =
        OdDbAssocVariable::cast(network->findVariable(name).openObject().get());
    double value = 0;
    if (variable.isNull() || !variable->value()->getNumber(value)) {
        return std::nullopt;
    }
    return value;
}

std::string nameOfBlock(OdDbObjectId block)
{
    const OdDbBlockTableRecordPtr record = OdDbBlockTableRecord::cast(block.openObject().get());
    return record.isNull() ? std::string("?") : toUtf8(record->getName());
}

bool isUsable(OdGeScale3d const& scale)
{
    const auto isFactor = [](double factor) { return factor != 0.0 && std::isfinite(factor); };
    return isFactor(scale.sx) && isFactor(scale.sy) && isFactor(scale.sz);
}

bool isSame(OdGeScale3d const& left, OdGeScale3d const& right)
{
    return left.sx == right.sx && left.sy == right.sy && left.sz == right.sz;
}

/// Fills in the variable's value, and what stands against the scale that follows from it.
OdGeScale3d wantedScale(DrivenInsert& insert, OdDbObjectId block)
{
    const std::string name = toUtf8(insert.drive.variable);
    insert.value = valueOfVariable(block, insert.drive.variable);
    if (!insert.value.has_value()) {
        insert.problem = "there is no variable " + name;
        return insert.before;
    }
    const OdGeScale3d scale = insert.drive.base * *insert.value;
    if (!isUsable(scale)) {
        insert.problem =
            "variable " + name + " is " + exactNumber(*insert.value) + ", which is no scale";
        return insert.before;
    }
    return scale;
}

std::vector<DrivenInsert> visitDriven(HostBagExtension const& bags, OdDbObjectId block, bool update)
{
    std::vector<DrivenInsert> driven;
    for (OdDbObjectId id : insertsOf(block)) {
        const OdDbBlockReferencePtr insert = OdDbBlockReference::cast(id.openObject().get());
        if (insert.isNull() || bags.form(*insert).place == BagPlace::kNone) {
            continue;
        }
        DrivenInsert found{id, {}, {}, {}, insert->scaleFactors(), insert->scaleFactors(), {}};
        found.block = nameOfBlock(insert->blockTableRecord());
        try {
            const std::optional<ScaleDrive> drive = scaleDriveOf(bags, *insert);
            if (!drive.has_value()) {
                continue;
            }
            found.drive = *drive;
            const OdGeScale3d wanted = wantedScale(found, block);
            if (update && found.problem.empty() && !isSame(wanted, found.before)) {
                insert->upgradeOpen();
                insert->setScaleFactors(wanted);
                found.scale = wanted;
            }
        } catch (HostError const& error) {
            found.problem = error.what();
        }
        driven.push_back(std::move(found));
    }
    return driven;
}

}  // namespace

std::optional<ScaleDrive> scaleDriveOf(HostBagExtension const& bags,
                                       OdDbBlockReference const& insert)
{
    const BagJson entries = bags.read(insert);
    const auto name = entries.find(kVariableKey);
    if (name == entries.end()) {
        return std::nullopt;
    }
    if ((*name)["type"] != "string") {
        refuseBag(insert, std::string(kVariableKey) + " is no string");
    }
    ScaleDrive drive;
    drive.variable = OdString::fromUtf8((*name)["value"].get<std::string>());
    drive.base = baseScaleOf(entries, insert);
    return drive;
}

void setScaleDrive(HostBagExtension const& bags, OdDbBlockReference& insert,
                   ScaleDrive const& drive)
{
    bags.set(insert, kVariableKey, valueOf("string", toUtf8(drive.variable)), /*retype=*/true);
    if (isSame(drive.base, OdGeScale3d())) {
        (void)bags.remove(insert, kBaseKey);  // which it may not have
        return;
    }
    bags.set(
        insert, kBaseKey,
        valueOf("array of double", BagJson::array({drive.base.sx, drive.base.sy, drive.base.sz})),
        /*retype=*/true);
}

void removeScaleDrive(HostBagExtension const& bags, OdDbBlockReference& insert)
{
    (void)bags.remove(insert, kVariableKey);  // a value that is missing is as good
    (void)bags.remove(insert, kBaseKey);
}

std::vector<DrivenInsert> drivenInserts(HostBagExtension const& bags, OdDbObjectId block)
{
    return visitDriven(bags, block, /*update=*/false);
}

std::vector<DrivenInsert> updateDrivenInserts(HostBagExtension const& bags, OdDbObjectId block)
{
    return visitDriven(bags, block, /*update=*/true);
}

bool hasInserts(OdDbObjectId block)
{
    return !insertsOf(block).empty();
}

std::string scaleText(OdGeScale3d const& scale)
{
    if (scale.sx == scale.sy && scale.sy == scale.sz) {
        return exactNumber(scale.sx);
    }
    return '(' + exactNumber(scale.sx) + ", " + exactNumber(scale.sy) + ", " +
           exactNumber(scale.sz) + ')';
}

}  // namespace zemhost
