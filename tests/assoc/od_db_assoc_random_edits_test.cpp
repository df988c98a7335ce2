// Random edits of several networks, with undo and redo: names, values and dependencies stay in step.

#include "assoc/assoc_test_support.h"
#include "assoc/od_expression.h"
#include "db/od_db_block_table.h"
#include "db/od_db_id_mapping.h"

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

using assoctest::AssocTest;

namespace {

using Ids = std::vector<OdDbObjectId>;

/// What there is of the drawing at some step; later steps are undone.
struct Made
{
    OdDbObjectId id;
    std::size_t step;
};

class OdDbAssocRandomEdits : public AssocTest
{
protected:
    static constexpr int kNames = 10;
    static constexpr int kEdits = 13;

    static OdDbObjectId addBlock(OdDbDatabase& db, OdString const& name)
    {
        const OdSmartPtr<OdDbBlockTable> table =
            db.getBlockTableId().safeOpenObject(OdDb::kForWrite);
        const OdDbBlockTableRecordPtr block = OdDbBlockTableRecord::createObject();
        block->setName(name);
        return table->add(block.get());
    }

    /// \name Choices, by index
    /// @{
    static int number(int end) { return *rc::gen::inRange(0, end); }
    static bool coin() { return number(2) == 0; }
    static OdString name()
    {
        return OdString().format(coin() ? L"n%d" : L"N%d", number(kNames));  // case says nothing
    }
    static OdDbObjectId oneOf(std::vector<Made> const& made)
    {
        return made[static_cast<std::size_t>(number(static_cast<int>(made.size())))].id;
    }
    /// @}

    void start()
    {
        m_networks = {{m_network, 0}};
        m_blocks.clear();
        for (char const* block : {"one", "two"}) {
            const OdDbObjectId id = addBlock(*m_db, block);
            m_blocks.push_back({id, 0});
            m_networks.push_back({networkOf(id), 0});
        }
        for (int i = 0; i < 8; ++i) {
            m_variables.push_back(
                {addTo(m_networks[static_cast<std::size_t>(i % 3)].id,
                       ("n" + std::to_string(i)).c_str(), std::to_string(i).c_str()),
                 0});
        }
        m_states = {dbtest::livingStateOf(*m_db)};
    }

    void edit()
    {
        // What was undone can't come back from here on.
        m_states.resize(m_step + 1);
        for (std::vector<Made>* made : {&m_networks, &m_blocks, &m_variables}) {
            std::erase_if(*made, [&](Made const& one) { return one.step > m_step; });
        }
        m_db->startUndoRecord();
        ++m_step;
        change(number(kEdits), oneOf(m_variables), oneOf(m_networks));
        m_states.push_back(dbtest::livingStateOf(*m_db));
    }

    void change(int kind, OdDbObjectId id, OdDbObjectId networkId)
    {
        const bool isErased = id.isErased();
        RC_LOG() << "step " << m_step << ": edit " << kind << " of variable "
                 << id.getHandle().value() << ", network " << networkId.getHandle().value() << '\n';
        switch (kind) {
        case 0:
        case 1:
        case 2:
            if (!isErased) {
                (void)set(id, expression(), /*refuseCycles=*/coin());
            }
            return;
        case 3:
            if (!isErased) {
                (void)setNumber(id, number(100));
            }
            return;
        case 4: {
            const OdDbObjectPtr object = id.openObject(OdDb::kForWrite, /*openErased=*/true);
            const bool isTold = number(4) != 0;
            (void)static_cast<OdDbAssocVariable&>(*object).setName(name(), isTold);
            return;
        }
        case 5:
            (void)eraseObject(id, !isErased);
            return;
        case 6:
            (void)network(networkId)->evaluate(nullptr);
            return;
        case 7:
            (void)network(networkId)->addAction(id, /*owned=*/true);
            return;
        case 8:
            (void)network(networkId)->addAction(id, /*owned=*/false);
            return;
        case 9:
            (void)network(networkId)->removeAction(id, /*erase=*/coin());
            return;
        case 10:
            cloneSome(networkId);
            return;
        case 11:
            if (!isErased) {
                (void)write(id)->setValue(number(100));  // hides what the expression gives
            }
            return;
        default:
            cloneBlock();
        }
    }

    static OdString expression()
    {
        switch (number(4)) {
        case 0:
            return name() + "*2+1";
        case 1:
            return name() + "+" + name();
        case 2:
            return "12/" + name();
        default:
            return OdString().format(L"%d", number(100));
        }
    }

    void cloneSome(OdDbObjectId networkId)
    {
        OdDbObjectIdArray sources;
        for (int i = number(4); i >= 0; --i) {
            const OdDbObjectId id = oneOf(m_variables);
            if (!id.isErased() && !sources.contains(id)) {
                sources.append(id);
            }
        }
        if (sources.isEmpty() || m_variables.size() > 40) {
            return;
        }
        const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
        m_db->deepCloneObjects(sources, networkId, *mapping);
        noteClones(*mapping);
    }

    void cloneBlock()
    {
        if (m_blocks.size() > 4) {
            return;
        }
        const OdDbIdMappingPtr mapping = OdDbIdMapping::createObject();
        m_db->deepCloneObjects({oneOf(m_blocks)}, m_db->getBlockTableId(), *mapping);
        noteClones(*mapping);
    }

    void noteClones(OdDbIdMapping& mapping)
    {
        for (const auto at = mapping.newIterator(); !at->done(); at->next()) {
            const OdDbIdPair pair = at->getMap();
            if (!pair.isCloned()) {
                continue;
            }
            OdRxClass const* const cls = pair.value().objectClass();
            if (cls->isDerivedFrom(OdDbAssocVariable::desc())) {
                m_variables.push_back({pair.value(), m_step});
            } else if (cls->isDerivedFrom(OdDbAssocNetwork::desc())) {
                m_networks.push_back({pair.value(), m_step});
            } else if (cls->isDerivedFrom(OdDbBlockTableRecord::desc())) {
                m_blocks.push_back({pair.value(), m_step});
            }
        }
    }

    /// What has been made up to the present step.
    static Ids present(std::vector<Made> const& made, std::size_t step)
    {
        Ids ids;
        for (Made const& one : made) {
            if (one.step <= step) {
                ids.push_back(one.id);
            }
        }
        return ids;
    }
    Ids livingVariables() const
    {
        Ids ids = present(m_variables, m_step);
        std::erase_if(ids, [](OdDbObjectId id) { return id.isErased(); });
        return ids;
    }

    /// Names lead to the oldest of the living variables that a network owns.
    void checkNames(OdDbDatabase& db)
    {
        for (OdDbObjectId here : present(m_networks, m_step)) {
            const OdDbObjectId networkId = db.getOdDbObjectId(here.getHandle());
            std::map<std::string, OdDbObjectId> first;
            std::set<std::string> listed;
            const OdDbObjectIdArray all = network(networkId, OdDb::kForRead)->getActions();
            for (OdDbObjectId id : all) {
                RC_ASSERT(!id.isErased());
                const std::string upper(read(id)->name().makeUpper().utf8());
                listed.insert(upper);
                if (read(id)->ownerId() == networkId) {
                    const auto entry = first.try_emplace(upper, id).first;
                    entry->second = std::min(entry->second, id);
                }
            }
            for (int i = 0; i < kNames; ++i) {
                const std::string one = "N" + std::to_string(i);
                const OdDbAssocNetworkPtr at = network(networkId, OdDb::kForRead);
                const auto expected = first.find(one);
                RC_ASSERT(at->findVariable(one.c_str()) ==
                          (expected == first.end() ? OdDbObjectId::kNull : expected->second));
                std::string free = one;
                for (int suffix = 1; listed.count(free) != 0; ++suffix) {
                    free = one + "_" + std::to_string(suffix);
                }
                RC_ASSERT(std::string(at->freeVariableName(one.c_str()).utf8()) == free);
            }
        }
    }

    /// Each network lists the living variables that it owns.
    void checkActions()
    {
        for (OdDbObjectId id : livingVariables()) {
            const OdDbObjectId networkId = read(id)->ownerId();
            if (!networkId.isNull() && !networkId.isErased()) {
                const OdDbObjectIdArray listed = network(networkId, OdDb::kForRead)->getActions();
                RC_ASSERT(listed.contains(id));
            }
        }
    }

    /// The variables that a variable depends on, by the names that they have.
    static std::map<std::string, OdDbObjectId> usedBy(OdDbObjectId id)
    {
        std::map<std::string, OdDbObjectId> used;
        for (OdDbObjectId target : targetsOf(id)) {
            const OdDbAssocVariablePtr variable = target.openObject();
            if (!variable.isNull() && variable->ownerId() == read(id)->ownerId()) {
                used.emplace(variable->name().makeUpper().utf8(), target);
            }
        }
        return used;
    }

    static bool isInRing(OdDbObjectId id)
    {
        std::set<OdDbObjectId> seen;
        Ids open{id};
        while (!open.empty()) {
            const OdDbObjectId at = open.back();
            open.pop_back();
            for (auto const& [upper, target] : usedBy(at)) {
                if (target == id) {
                    return true;
                }
                if (seen.insert(target).second) {
                    open.push_back(target);
                }
            }
        }
        return false;
    }

    /// After an evaluation: what can be computed has the value of its expression, and a name that
    /// means something in the network is used.
    void checkValues(OdDbDatabase& db)
    {
        for (OdDbObjectId here : livingVariables()) {
            const OdDbObjectId id = db.getOdDbObjectId(here.getHandle());
            const OdDbObjectId networkId = read(id)->owningNetwork();
            if (networkId.isNull() || networkId.isErased() || textOf(id).empty()) {
                continue;
            }
            OdExpression::Parser parser;
            RC_ASSERT(parser.setExpression(textOf(id).c_str()) == kOdOk);
            const std::map<std::string, OdDbObjectId> used = usedBy(id);
            std::vector<std::optional<double>> values;
            bool isComplete = true;
            bool isKnown = true;
            for (OdExpression::Name const& one : parser.names()) {
                const auto found = used.find(std::string(OdString(one.text).makeUpper().utf8()));
                isComplete = isComplete && found != used.end();
                isKnown =
                    isKnown && !network(networkId, OdDb::kForRead)->findVariable(one.text).isNull();
                values.push_back(found == used.end() ? std::optional<double>()
                                                     : valueOf(found->second));
            }
            RC_ASSERT((isComplete || !isKnown));
            double value = 0;
            const bool canBe =
                isComplete && !isInRing(id) && parser.evaluate(values, value) == kOdOk;
            RC_ASSERT(canBe == read(id)->evaluationError().isEmpty());
            RC_ASSERT((!canBe || valueOf(id) == value));
        }
    }

    /// Dependencies sit at what they depend on, and nothing else does in their place.
    void checkReactors()
    {
        for (OdDbObjectId id : livingVariables()) {
            for (OdDbObjectId dependencyId : dependenciesOf(id)) {
                const OdDbAssocDependencyPtr dependency = dependencyId.safeOpenObject();
                RC_ASSERT(dependency->ownerId() == id);
                const OdDbObjectPtr target =
                    dependency->dependentOnObject().openObject(OdDb::kForRead, true);
                RC_ASSERT((target.isNull() || target->hasPersistentReactor(dependencyId)));
            }
            for (OdDbObjectId reactorId : read(id)->getPersistentReactors()) {
                const OdDbAssocDependencyPtr dependency = reactorId.safeOpenObject();
                RC_ASSERT(dependency->dependentOnObject() == id);
                const OdDbObjectIdArray own = dependenciesOf(dependency->ownerId());
                RC_ASSERT(own.contains(reactorId));
            }
        }
    }

    void evaluateAll(OdDbDatabase& db)
    {
        for (OdDbObjectId id : present(m_networks, m_step)) {
            (void)network(db.getOdDbObjectId(id.getHandle()), OdDb::kForRead)->evaluate(nullptr);
        }
    }

    std::vector<Made> m_networks;
    std::vector<Made> m_blocks;
    std::vector<Made> m_variables;
    std::vector<dbtest::DatabaseState> m_states;  ///< by step
    std::size_t m_step = 0;
};

RC_GTEST_FIXTURE_PROP(OdDbAssocRandomEdits, NamesValuesAndUndoStayInStep, ())
{
    start();
    const int steps = *rc::gen::inRange(1, 40);
    for (int i = 0; i < steps; ++i) {
        const int way = number(8);
        if (way == 0 && m_step > 0) {
            RC_ASSERT(m_db->undo() == kOdOk);
            RC_ASSERT(dbtest::livingStateOf(*m_db) == m_states[--m_step]);
        } else if (way == 1 && m_step + 1 < m_states.size()) {
            RC_ASSERT(m_db->redo() == kOdOk);
            RC_ASSERT(dbtest::livingStateOf(*m_db) == m_states[++m_step]);
        } else {
            edit();
        }
        if (number(3) == 0) {
            checkNames(*m_db);
        }
        checkActions();
        checkReactors();
    }
    m_states.resize(m_step + 1);
    m_db->startUndoRecord();
    evaluateAll(*m_db);
    m_states.push_back(dbtest::livingStateOf(*m_db));
    evaluateAll(*m_db);
    RC_ASSERT(dbtest::livingStateOf(*m_db) == m_states.back());
    checkValues(*m_db);
    checkNames(*m_db);
    if (number(4) == 0) {
        const dbtest::FakeDrawingPtr drawing = dbtest::saveDrawing(*m_db);
        const OdDbDatabasePtr opened = dbtest::openDrawing(drawing);
        checkNames(*opened);
        checkValues(*opened);
        const dbtest::DatabaseState before = dbtest::livingStateOf(*opened);
        evaluateAll(*opened);
        RC_ASSERT(dbtest::livingStateOf(*opened) == before);
    }
    for (std::size_t step = m_states.size() - 1; step > 0; --step) {
        RC_ASSERT(m_db->undo() == kOdOk);
        RC_ASSERT(dbtest::livingStateOf(*m_db) == m_states[step - 1]);
    }
    m_step = 0;
    checkNames(*m_db);
    for (std::size_t step = 1; step < m_states.size(); ++step) {
        RC_ASSERT(m_db->redo() == kOdOk);
        RC_ASSERT(dbtest::livingStateOf(*m_db) == m_states[step]);
    }
}

}  // namespace
