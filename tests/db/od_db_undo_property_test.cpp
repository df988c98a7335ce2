// Random sequences of edits against a plain model: undo and redo bring back the same bytes.

#include "db/db_test_support.h"
#include "db/od_db_block_table.h"
#include "db/od_db_curves.h"
#include "db/od_db_simple_tables.h"
#include "db/od_db_xrecord.h"

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cwctype>
#include <iterator>

using namespace dbtest;

namespace {

using Handle = std::uint64_t;

enum class Kind
{
    kBag,
    kLine,
    kDictionary,
    kXrecord,
    kLayer
};

/// What the model knows of one object.
struct ModelObject
{
    Kind kind = Kind::kBag;
    bool erased = false;
    Handle owner = 0;
    std::int32_t number = 0;  ///< of a bag or an extended record; x of a line's start; layer flag
    std::wstring text;        ///< of a bag; name of a layer
    std::vector<double> reals;
    std::vector<Handle> references;
    std::vector<Handle> reactors;
    std::map<std::wstring, std::int32_t> xdata;
    Handle extension = 0;
    /// Of a dictionary: names as they were set, by their lower-case form.
    std::map<std::wstring, std::pair<std::wstring, Handle>> entries;
    std::wstring nameToComeBackTo;

    friend bool operator==(ModelObject const&, ModelObject const&) = default;
};

std::wstring lower(std::wstring text)
{
    for (wchar_t& character : text) {
        character = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(character)));
    }
    return text;
}

/// A whole drawing as plain values.
struct Model
{
    std::map<Handle, ModelObject> objects;
    std::vector<Handle> space;
    std::int16_t units = 4;

    friend bool operator==(Model const&, Model const&) = default;
};

struct Step
{
    std::uint8_t kind;
    std::uint8_t a;
    std::uint8_t b;
    std::uint8_t c;
};

std::ostream& operator<<(std::ostream& out, Step const& step)
{
    return out << '{' << int{step.kind} << ", " << int{step.a} << ", " << int{step.b} << ", "
               << int{step.c} << '}';
}

rc::Gen<std::vector<Step>> anySteps()
{
    const auto byte = [] { return rc::gen::inRange(0, 256); };
    return rc::gen::scale(
        3.0, rc::gen::container<std::vector<Step>>(rc::gen::map(
                 rc::gen::tuple(byte(), byte(), byte(), byte()), [](auto const& values) {
                     return Step{static_cast<std::uint8_t>(std::get<0>(values)),
                                 static_cast<std::uint8_t>(std::get<1>(values)),
                                 static_cast<std::uint8_t>(std::get<2>(values)),
                                 static_cast<std::uint8_t>(std::get<3>(values))};
                 })));
}

constexpr wchar_t const* kNames[] = {L"a",         L"A", L"b", L"Long name",
                                     L"long NAME", L"x", L"y", L"z"};
constexpr wchar_t const* kApps[] = {L"APP", L"OTHER"};

/// How a drawing stood at a mark.
struct Snapshot
{
    Model model;
    DatabaseState state;
};

/// A drawing and its model, edited side by side.
class Session
{
public:
    Session()
    {
        for (wchar_t const* app : kApps) {
            m_db->newRegApp(app);
        }
        m_root = m_db->getNamedObjectsDictionaryId().getHandle().value();
        m_model.objects[m_root].kind = Kind::kDictionary;
        const Handle layerZero = m_db->getLayerZeroId().getHandle().value();
        m_layerTable = m_db->getLayerTableId().getHandle().value();
        m_model.objects[layerZero].kind = Kind::kLayer;
        m_model.objects[layerZero].text = L"0";
        m_model.objects[layerZero].owner = m_layerTable;
        m_space = m_db->getModelSpaceId().getHandle().value();
    }
    ~Session() { m_open.clear(); }
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    void run(std::vector<Step> const& steps)
    {
        for (Step const& step : steps) {
            const Model before = m_model;
            apply(step);
            if (!m_db->hasRedo()) {
                m_undone.clear();
            }
            if (m_isEdit && m_db->undoRecording() && !(m_model == before)) {
                RC_ASSERT(!m_db->hasRedo());
            }
        }
        finish();
    }

    /// Ends what is open, goes all the way back and forth and compares.
    void finish()
    {
        m_open.clear();
        while (!m_transactions.empty()) {
            m_db->endTransaction();
            m_transactions.pop_back();
        }
        compare();
        const Snapshot last = take();
        std::size_t groups = 0;
        while (!m_marks.empty()) {
            undo();
            ++groups;
        }
        RC_ASSERT(m_db->undo() == kOdNoUndo);
        for (std::size_t group = 0; group < groups; ++group) {
            redo();
        }
        RC_ASSERT(stateOf(*m_db) == last.state);
        RC_ASSERT(m_asserts.take().empty());
    }

private:
    using Objects = std::map<Handle, ModelObject>;

    Snapshot take() { return {m_model, stateOf(*m_db)}; }
    OdDbObjectId idOf(Handle handle) { return m_db->getOdDbObjectId(OdDbHandle(handle)); }
    OdDbObjectPtr write(Handle handle)
    {
        return idOf(handle).safeOpenObject(OdDb::kForWrite, /*openErased=*/true);
    }
    OdDbObjectPtr read(Handle handle)
    {
        return idOf(handle).safeOpenObject(OdDb::kForRead, /*openErased=*/true);
    }

    /// One of the objects of some kinds; null if there is none.
    std::pair<Handle const, ModelObject>*
    pick(std::uint8_t choice, std::initializer_list<Kind> kinds, bool livingOnly = true)
    {
        std::vector<std::pair<Handle const, ModelObject>*> candidates;
        for (auto& entry : m_model.objects) {
            const bool fits = kinds.size() == 0 || std::find(kinds.begin(), kinds.end(),
                                                             entry.second.kind) != kinds.end();
            if (fits && !(livingOnly && entry.second.erased)) {
                candidates.push_back(&entry);
            }
        }
        return candidates.empty() ? nullptr : candidates[choice % candidates.size()];
    }

    void apply(Step const& step)
    {
        m_isEdit = true;
        switch (step.kind % 28) {
        case 0:
        case 1:
            return addToDictionary(step, Kind::kBag);
        case 2:
            return addToDictionary(step, Kind::kDictionary);
        case 3:
            return appendLine(step);
        case 4:
        case 5:
            return erase(step, true);
        case 6:
        case 7:
            return erase(step, false);
        case 8:
        case 9:
            return editBag(step);
        case 10:
            return addToNumber(step);
        case 11:
            return changeReactors(step);
        case 12:
            return removeEntry(step);
        case 13:
            return renameEntry(step);
        case 14:
            return moveEntry(step);
        case 15:
            return setXData(step);
        case 16:
            return makeExtension(step);
        case 17:
            return makeXrecord(step);
        case 18:
            return releaseExtension(step);
        case 19:
            return addLayer(step);
        case 20:
            return renameLayer(step);
        case 21:
            return moveLine(step);
        case 22:
            return setUnits(step);
        case 23:
            return holdOrRelease(step);
        default:
            m_isEdit = false;
            return goBackOrForth(step);
        }
    }

    void goBackOrForth(Step const& step)
    {
        switch (step.a % 8) {
        case 0:
        case 1:
        case 2:
            return mark();
        case 3:
        case 4:
            return undo();
        case 5:
            return redo();
        case 6:
            return startTransaction();
        default:
            return endTransaction(/*aborts=*/step.b % 2 == 0);
        }
    }

    // -- edits --------------------------------------------------------------------------------

    /// What becomes of the entry that an object leaves by being erased or moved.
    void dropEntryOf(Handle handle, bool comesBack)
    {
        ModelObject& object = m_model.objects[handle];
        const auto owner = m_model.objects.find(object.owner);
        if (owner == m_model.objects.end()) {
            return;
        }
        auto& entries = owner->second.entries;
        for (auto at = entries.begin(); at != entries.end(); ++at) {
            if (at->second.second == handle) {
                object.nameToComeBackTo = comesBack ? at->second.first : std::wstring();
                entries.erase(at);
                return;
            }
        }
    }
    void enter(Handle dictionary, std::wstring const& name, Handle handle)
    {
        auto& entries = m_model.objects[dictionary].entries;
        const auto present = entries.find(lower(name));
        if (present != entries.end() && present->second.second != handle) {
            eraseInModel(present->second.second);
        }
        entries[lower(name)] = {name, handle};
        m_model.objects[handle].owner = dictionary;
        m_model.objects[handle].nameToComeBackTo.clear();
    }
    void eraseInModel(Handle handle)
    {
        dropEntryOf(handle, /*comesBack=*/true);
        m_model.objects[handle].erased = true;
    }

    void addToDictionary(Step const& step, Kind kind)
    {
        auto* dictionary = pick(step.a, {Kind::kDictionary}, /*livingOnly=*/false);
        std::wstring const name = kNames[step.b % std::size(kNames)];
        const OdDbDictionaryPtr target = write(dictionary->first);
        OdDbObjectPtr object;
        if (kind == Kind::kBag) {
            const TestBagPtr bag = TestBag::createObject();
            bag->setNumber(step.c);
            object = bag;
        } else {
            object = OdDbDictionary::createObject();
        }
        const Handle handle = target->setAt(name.c_str(), object.get()).getHandle().value();
        if (kind == Kind::kBag && step.c % 2 != 0) {
            TestBagPtr(object)->setText(L"fresh");  // still in its first period
        }
        const Handle owner = dictionary->first;
        ModelObject& added = m_model.objects[handle];
        added.kind = kind;
        added.number = kind == Kind::kBag ? step.c : 0;
        added.text = kind == Kind::kBag && step.c % 2 != 0 ? L"fresh" : L"";
        enter(owner, name, handle);
    }
    void appendLine(Step const& step)
    {
        const OdDbLinePtr line = OdDbLine::createObject();
        line->setStartPoint(OdGePoint3d(step.a, 0, 0));
        const OdDbBlockTableRecordPtr space = write(m_space);
        const Handle handle = space->appendOdDbEntity(line.get()).getHandle().value();
        ModelObject& added = m_model.objects[handle];
        added.kind = Kind::kLine;
        added.owner = m_space;
        added.number = step.a;
        m_model.space.push_back(handle);
    }
    void erase(Step const& step, bool erasing)
    {
        auto* entry = pick(step.a, {}, /*livingOnly=*/false);
        if (entry->first == m_root) {
            return;
        }
        const OdResult result = write(entry->first)->erase(erasing);
        ModelObject& object = entry->second;
        if (object.erased == erasing) {
            RC_ASSERT(result == (erasing ? kOdAlreadyErased : kOdNotErased));
            return;
        }
        if (erasing) {
            RC_ASSERT(result == kOdOk);
            return eraseInModel(entry->first);
        }
        if (object.kind == Kind::kLayer && hasLayer(object.text)) {
            RC_ASSERT(result == kOdDuplicateName);
            return;
        }
        RC_ASSERT(result == kOdOk);
        object.erased = false;
        const auto owner = m_model.objects.find(object.owner);
        std::wstring const name = object.nameToComeBackTo;
        if (owner != m_model.objects.end() && !name.empty() &&
            owner->second.entries.count(lower(name)) == 0) {
            owner->second.entries[lower(name)] = {name, entry->first};
            object.nameToComeBackTo.clear();
        }
    }
    void editBag(Step const& step)
    {
        auto* entry = pick(step.a, {Kind::kBag}, /*livingOnly=*/false);
        if (entry == nullptr) {
            return;
        }
        const TestBagPtr bag = write(entry->first);
        ModelObject& model = entry->second;
        switch (step.b % 4) {
        case 0:
            model.number = step.c;
            return bag->setNumber(step.c);
        case 1:
            model.text = std::wstring(step.c % 20, L't');
            return bag->setText(model.text.c_str());
        case 2:
            model.reals = std::vector<double>(step.c % 7, step.c);
            return bag->setReals(model.reals);
        default: {
            auto* target = pick(step.c, {}, /*livingOnly=*/false);
            model.references.push_back(target->first);
            OdDbObjectIdArray ids;
            for (Handle handle : model.references) {
                ids.append(idOf(handle));
            }
            return bag->setIds(OdDb::ReferenceType::kHardPointerRef, ids);
        }
        }
    }
    void addToNumber(Step const& step)
    {
        if (auto* entry = pick(step.a, {Kind::kBag}, /*livingOnly=*/false)) {
            TestBagPtr(write(entry->first))->addToNumber(step.b);
            entry->second.number += step.b;
        }
    }
    void changeReactors(Step const& step)
    {
        auto* entry = pick(step.a, {}, /*livingOnly=*/false);
        auto* reactor = pick(step.b, {Kind::kBag, Kind::kLine}, /*livingOnly=*/false);
        if (reactor == nullptr) {
            return;
        }
        auto& reactors = entry->second.reactors;
        const auto at = std::find(reactors.begin(), reactors.end(), reactor->first);
        const OdDbObjectPtr object = write(entry->first);
        if (step.c % 3 == 0) {
            object->removePersistentReactor(idOf(reactor->first));
            if (at != reactors.end()) {
                reactors.erase(at);
            }
            return;
        }
        object->addPersistentReactor(idOf(reactor->first));
        if (at == reactors.end()) {
            reactors.push_back(reactor->first);
        }
    }
    void removeEntry(Step const& step)
    {
        auto* entry = pick(step.a, {Kind::kDictionary}, /*livingOnly=*/false);
        std::wstring const name = kNames[step.b % std::size(kNames)];
        OdDbDictionaryPtr(write(entry->first))->remove(name.c_str());
        const auto found = entry->second.entries.find(lower(name));
        if (found != entry->second.entries.end()) {
            eraseInModel(found->second.second);
        }
    }
    void renameEntry(Step const& step)
    {
        auto* entry = pick(step.a, {Kind::kDictionary}, /*livingOnly=*/false);
        std::wstring const from = kNames[step.b % std::size(kNames)];
        std::wstring const to = kNames[step.c % std::size(kNames)];
        const bool renamed =
            OdDbDictionaryPtr(write(entry->first))->setName(from.c_str(), to.c_str());
        auto& entries = entry->second.entries;
        const auto found = entries.find(lower(from));
        const auto taken = entries.find(lower(to));
        RC_ASSERT(renamed ==
                  (found != entries.end() && (taken == entries.end() || taken == found)));
        if (renamed) {
            const Handle handle = found->second.second;
            entries.erase(found);
            entries[lower(to)] = {to, handle};
        }
    }
    bool owns(Handle outer, Handle inner)
    {
        for (Handle at = inner; at != 0 && m_model.objects.count(at) != 0;
             at = m_model.objects[at].owner) {
            if (at == outer) {
                return true;
            }
        }
        return false;
    }
    void moveEntry(Step const& step)
    {
        auto* target = pick(step.a, {Kind::kDictionary}, /*livingOnly=*/false);
        auto* moved = pick(step.b, {Kind::kBag, Kind::kDictionary, Kind::kXrecord});
        if (moved == nullptr || moved->first == m_root) {
            return;
        }
        std::wstring const name = kNames[step.c % std::size(kNames)];
        const OdDbDictionaryPtr dictionary = write(target->first);
        const OdDbObjectPtr object = write(moved->first);
        if (moved->second.owner != target->first && owns(moved->first, target->first)) {
            RC_ASSERT(thrownCode([&] { dictionary->setAt(name.c_str(), object.get()); }) ==
                      kOdCyclicReference);
            return;
        }
        dictionary->setAt(name.c_str(), object.get());
        const auto present = target->second.entries.find(lower(name));
        if (present != target->second.entries.end() && present->second.second == moved->first) {
            return;
        }
        dropEntryOf(moved->first, /*comesBack=*/false);
        enter(target->first, name, moved->first);
    }
    void setXData(Step const& step)
    {
        auto* entry = pick(step.a, {}, /*livingOnly=*/false);
        wchar_t const* app = kApps[step.b % std::size(kApps)];
        const OdResBufPtr head = OdResBuf::newRb(OdResBuf::kXdAppName);
        head->setString(app);
        if (step.c % 4 == 0) {
            entry->second.xdata.erase(app);
        } else {
            const OdResBufPtr value = OdResBuf::newRb(OdResBuf::kXdInt32);
            value->setInt32(step.c);
            head->setNext(value.get());
            entry->second.xdata[app] = step.c;
        }
        write(entry->first)->setXData(head.get());
    }
    /// The extension dictionary of an object, made or brought back in both worlds.
    Handle makeExtensionOf(Handle handle)
    {
        const OdDbObjectPtr object = write(handle);
        object->createExtensionDictionary();
        const Handle made = object->extensionDictionary().getHandle().value();
        const Handle known = m_model.objects[handle].extension;
        if (known == 0) {
            m_model.objects[made].kind = Kind::kDictionary;
            m_model.objects[made].owner = handle;
            m_model.objects[handle].extension = made;
            return made;
        }
        RC_ASSERT(made == known);
        ModelObject& dictionary = m_model.objects[known];
        if (dictionary.erased) {
            dictionary.erased = false;
            const auto owner = m_model.objects.find(dictionary.owner);
            std::wstring const name = dictionary.nameToComeBackTo;
            if (owner != m_model.objects.end() && !name.empty() &&
                owner->second.entries.count(lower(name)) == 0) {
                owner->second.entries[lower(name)] = {name, known};
                dictionary.nameToComeBackTo.clear();
            }
        }
        return known;
    }
    void makeExtension(Step const& step)
    {
        if (auto* entry = pick(step.a, {Kind::kBag, Kind::kLine})) {
            makeExtensionOf(entry->first);
        }
    }
    void makeXrecord(Step const& step)
    {
        auto* entry = pick(step.a, {Kind::kBag, Kind::kLine});
        if (entry == nullptr) {
            return;
        }
        const Handle dictionary = makeExtensionOf(entry->first);
        std::wstring const name = kNames[step.b % std::size(kNames)];
        const OdDbXrecordPtr record =
            write(entry->first)
                ->createXrecord(name.c_str(), OdDb::DuplicateRecordCloning::kDrcIgnore);
        auto& entries = m_model.objects[dictionary].entries;
        const auto present = entries.find(lower(name));
        if (present != entries.end() &&
            m_model.objects[present->second.second].kind != Kind::kXrecord) {
            RC_ASSERT(record.isNull());
            return;
        }
        const Handle handle = record->objectId().getHandle().value();
        const OdResBufPtr value = OdResBuf::newRb(OdResBuf::kXdInt32);
        value->setInt32(step.c);
        record->setFromRbChain(value.get());
        if (present == entries.end()) {
            m_model.objects[handle].kind = Kind::kXrecord;
            enter(dictionary, name, handle);
        }
        m_model.objects[handle].number = step.c;
    }
    void releaseExtension(Step const& step)
    {
        auto* entry = pick(step.a, {Kind::kBag, Kind::kLine});
        if (entry == nullptr) {
            return;
        }
        const bool isGone = write(entry->first)->releaseExtensionDictionary();
        const Handle extension = entry->second.extension;
        if (extension == 0 || m_model.objects[extension].erased) {
            RC_ASSERT(isGone);
            return;
        }
        RC_ASSERT(isGone == m_model.objects[extension].entries.empty());
        if (isGone) {
            eraseInModel(extension);
        }
    }
    bool hasLayer(std::wstring const& name) const
    {
        return std::any_of(m_model.objects.begin(), m_model.objects.end(), [&](auto const& entry) {
            return entry.second.kind == Kind::kLayer && !entry.second.erased &&
                   lower(entry.second.text) == lower(name);
        });
    }
    void addLayer(Step const& step)
    {
        std::wstring const name = kNames[step.a % std::size(kNames)];
        const OdDbLayerTableRecordPtr layer = OdDbLayerTableRecord::createObject();
        layer->setName(name.c_str());
        const OdDbSymbolTablePtr table = write(m_layerTable);
        OdDbObjectId id;
        const OdResult code = thrownCode([&] { id = table->add(layer.get()); });
        RC_ASSERT(code == (hasLayer(name) ? kOdDuplicateName : kOdOk));
        if (code == kOdOk) {
            ModelObject& added = m_model.objects[id.getHandle().value()];
            added.kind = Kind::kLayer;
            added.owner = m_layerTable;
            added.text = name;
        }
    }
    void renameLayer(Step const& step)
    {
        auto* entry = pick(step.a, {Kind::kLayer}, /*livingOnly=*/false);
        std::wstring const name = kNames[step.b % std::size(kNames)];
        const OdDbLayerTableRecordPtr layer = write(entry->first);
        if (step.c % 2 == 0) {
            layer->setIsOff(step.c % 4 == 0);
            entry->second.number = step.c % 4 == 0 ? 1 : 0;
            return;
        }
        const bool isOwnName = lower(name) == lower(entry->second.text) && !entry->second.erased;
        const bool refused = !entry->second.erased && !isOwnName && hasLayer(name);
        RC_ASSERT(thrownCode([&] { layer->setName(name.c_str()); }) ==
                  (refused ? kOdDuplicateName : kOdOk));
        if (!refused) {
            entry->second.text = name;
        }
    }
    void moveLine(Step const& step)
    {
        if (auto* entry = pick(step.a, {Kind::kLine}, /*livingOnly=*/false)) {
            OdDbLinePtr(write(entry->first))->setStartPoint(OdGePoint3d(step.b, 0, 0));
            entry->second.number = step.b;
        }
    }
    void setUnits(Step const& step)
    {
        m_model.units = step.a % 21;
        m_db->setINSUNITS(static_cast<OdDb::UnitsValue>(m_model.units));
    }
    void holdOrRelease(Step const& step)
    {
        if (step.b % 2 == 0 && !m_open.empty()) {
            m_open.erase(m_open.begin() + step.a % static_cast<int>(m_open.size()));
            return;
        }
        auto* entry = pick(step.a, {}, /*livingOnly=*/false);
        m_open.push_back(step.c % 2 == 0 ? read(entry->first) : write(entry->first));
    }

    // -- back and forth -----------------------------------------------------------------------

    void mark()
    {
        if (m_transactions.empty()) {
            m_marks.push_back(take());
            m_db->startUndoRecord();
        }
    }
    void undo()
    {
        if (!m_transactions.empty()) {
            RC_ASSERT(m_db->undo() == kOdTransactionOpen);
            return;
        }
        if (m_marks.empty()) {
            RC_ASSERT(m_db->undo() == kOdNoUndo);
            return;
        }
        const Snapshot before = take();
        RC_ASSERT(m_db->undo() == kOdOk);
        goTo(m_marks.back());
        m_marks.pop_back();
        m_undone.push_back(before);
    }
    void redo()
    {
        if (!m_transactions.empty()) {
            RC_ASSERT(m_db->redo() == kOdTransactionOpen);
            return;
        }
        RC_ASSERT(m_db->hasRedo() == !m_undone.empty());
        if (m_undone.empty()) {
            RC_ASSERT(m_db->redo() == kOdNoUndo);
            return;
        }
        const Snapshot before = take();
        RC_ASSERT(m_db->redo() == kOdOk);
        RC_ASSERT(stateOf(*m_db) == m_undone.back().state);
        goTo(m_undone.back());
        m_undone.pop_back();
        m_marks.push_back(before);
    }
    void startTransaction()
    {
        if (m_transactions.size() < 4) {
            m_transactions.push_back(take());
            m_db->startTransaction();
        }
    }
    void endTransaction(bool aborts)
    {
        if (m_transactions.empty()) {
            RC_ASSERT(thrownCode([&] { m_db->abortTransaction(); }) == kOdNoTransaction);
            return;
        }
        if (aborts) {
            m_db->abortTransaction();
            goTo(m_transactions.back());
        } else {
            m_db->endTransaction();
        }
        m_transactions.pop_back();
    }
    /// The drawing must stand as it did then, but for objects made since, which are erased.
    void goTo(Snapshot const& then)
    {
        m_model = then.model;
        const DatabaseState now = stateOf(*m_db);
        for (auto const& [handle, state] : now) {
            const auto known = then.state.find(handle);
            if (known == then.state.end()) {
                RC_ASSERT(state.erased);
            } else {
                RC_LOG() << "object " << std::hex << handle << std::dec << '\n';
                RC_ASSERT(state == known->second);
            }
        }
        compare();
    }

    // -- comparing ----------------------------------------------------------------------------

    void compare()
    {
        for (auto const& [handle, model] : m_model.objects) {
            RC_LOG() << "object " << std::hex << handle << std::dec << '\n';
            compareObject(handle, model);
        }
        std::vector<Handle> lines;
        const OdDbBlockTableRecordPtr space = read(m_space);
        for (const auto at = space->newIterator(true, /*skipErased=*/false); !at->done();
             at->step(true, /*skipErased=*/false)) {
            lines.push_back(at->objectId().getHandle().value());
        }
        RC_ASSERT(lines == m_model.space);
        RC_ASSERT(static_cast<std::int16_t>(m_db->getINSUNITS()) == m_model.units);
    }
    void compareObject(Handle handle, ModelObject const& model)
    {
        const OdDbObjectId id = idOf(handle);
        const OdDbObjectPtr object = read(handle);
        RC_ASSERT(id.isErased() == model.erased);
        RC_ASSERT(object->ownerId().getHandle().value() == model.owner);
        std::vector<Handle> reactors;
        for (OdDbObjectId reactor : object->getPersistentReactors()) {
            reactors.push_back(reactor.getHandle().value());
        }
        RC_ASSERT(reactors == model.reactors);
        const bool hasExtension =
            model.extension != 0 && !m_model.objects.at(model.extension).erased;
        RC_ASSERT(object->extensionDictionary().getHandle().value() ==
                  (hasExtension ? model.extension : 0));
        for (wchar_t const* app : kApps) {
            const OdResBufPtr xdata = object->xData(app);
            const auto known = model.xdata.find(app);
            RC_ASSERT(xdata.isNull() == (known == model.xdata.end()));
            if (!xdata.isNull()) {
                RC_ASSERT(xdata->next()->getInt32() == known->second);
            }
        }
        compareFields(*object, model);
    }
    void compareFields(OdDbObject& object, ModelObject const& model)
    {
        switch (model.kind) {
        case Kind::kBag: {
            const TestBagPtr bag(&object);
            RC_ASSERT(bag->number() == model.number);
            RC_ASSERT(bag->text() == OdString(model.text.c_str()));
            RC_ASSERT(bag->reals() == model.reals);
            std::vector<Handle> references;
            for (OdDbObjectId id : bag->ids(OdDb::ReferenceType::kHardPointerRef)) {
                references.push_back(id.getHandle().value());
            }
            RC_ASSERT(references == model.references);
            return;
        }
        case Kind::kLine:
            RC_ASSERT(OdDbLinePtr(&object)->startPoint() == OdGePoint3d(model.number, 0, 0));
            return;
        case Kind::kXrecord:
            RC_ASSERT(OdDbXrecordPtr(&object)->rbChain()->getInt32() == model.number);
            return;
        case Kind::kLayer: {
            const OdDbLayerTableRecordPtr layer(&object);
            RC_ASSERT(layer->getName() == OdString(model.text.c_str()));
            RC_ASSERT(layer->isOff() == (model.number != 0));
            const OdDbSymbolTablePtr table = read(m_layerTable);
            RC_ASSERT((table->getAt(model.text.c_str()) == object.objectId()) == !model.erased);
            return;
        }
        case Kind::kDictionary:
            return compareEntries(object, model);
        }
    }
    void compareEntries(OdDbObject& object, ModelObject const& model)
    {
        const OdDbDictionaryPtr dictionary(&object);
        RC_ASSERT(dictionary->numEntries() == model.entries.size());
        auto expected = model.entries.begin();
        for (const auto at = dictionary->newIterator(); !at->done(); at->next()) {
            RC_ASSERT(expected != model.entries.end());
            RC_ASSERT(at->name() == OdString(expected->second.first.c_str()));
            RC_ASSERT(at->objectId().getHandle().value() == expected->second.second);
            RC_ASSERT(dictionary->nameAt(at->objectId()) == at->name());
            ++expected;
        }
        RC_ASSERT(expected == model.entries.end());
    }

    Platform m_platform;
    AssertRecorder m_asserts;
    OdDbDatabasePtr m_db = OdDbDatabase::createObject();
    Model m_model;
    Handle m_root = 0;
    Handle m_space = 0;
    Handle m_layerTable = 0;
    bool m_isEdit = false;
    std::vector<Snapshot> m_marks;
    std::vector<Snapshot> m_undone;
    std::vector<Snapshot> m_transactions;
    std::vector<OdDbObjectPtr> m_open;
};

RC_GTEST_PROP(UndoProperty, AnyEditsAreTakenBackAndForthToTheSameBytes, ())
{
    const std::vector<Step> steps = *anySteps();
    Session session;
    session.run(steps);
}

// ---------------------------------------------------------------------------------------------

/// Bags that react to one another by changing themselves and the notifier.
class ReactingSession
{
public:
    ReactingSession()
    {
        for (int index = 0; index < 6; ++index) {
            const TestReactorPtr bag = TestReactor::createObject();
            bag->onNotice = [](TestReactor& self, NoticeKind kind, OdDbObject const& object) {
                react(self, kind, object);
            };
            m_ids.push_back(m_db->addOdDbObject(bag.get()));
        }
    }
    ~ReactingSession() { m_open.clear(); }
    ReactingSession(ReactingSession const&) = delete;
    ReactingSession& operator=(ReactingSession const&) = delete;

    void run(std::vector<Step> const& steps)
    {
        const DatabaseState first = stateOf(*m_db);
        m_db->startUndoRecord();
        m_states.push_back(first);
        for (Step const& step : steps) {
            s_answersLeft = 20;
            apply(step);
        }
        m_open.clear();
        const DatabaseState last = stateOf(*m_db);
        std::vector<DatabaseState> undone;
        while (!m_states.empty()) {
            undone.push_back(stateOf(*m_db));
            RC_ASSERT(m_db->undo() == kOdOk);
            RC_ASSERT(livingStateOf(*m_db) == living(m_states.back()));
            m_states.pop_back();
        }
        while (!undone.empty()) {
            RC_ASSERT(m_db->redo() == kOdOk);
            RC_ASSERT(stateOf(*m_db) == undone.back());
            undone.pop_back();
        }
        RC_ASSERT(stateOf(*m_db) == last);
        RC_ASSERT(m_asserts.take().empty());
    }

private:
    static void react(TestReactor& self, NoticeKind kind, OdDbObject const& object)
    {
        // Reactors that answer every answer would never come to an end.
        if (object.isUndoing() || s_answersLeft == 0) {
            return;
        }
        --s_answersLeft;
        switch (kind) {
        case NoticeKind::kModified:
            self.addToNumber(1);
            self.setText(self.text() + OdString(L"m"));
            break;
        case NoticeKind::kOpenedForModify:
            self.setNumber(self.number() + 10);
            break;
        case NoticeKind::kErased:
        case NoticeKind::kUnerased:
            if (self.number() % 3 == 0) {
                const_cast<OdDbObject&>(object).removePersistentReactor(self.objectId());
            }
            break;
        case NoticeKind::kObjectClosed:
            if (self.number() % 5 == 0) {
                const OdDbObjectPtr changed =
                    object.objectId().openObject(OdDb::kForWrite, /*openErased=*/true);
                TestBagPtr(changed)->addToNumber(1000);
            }
            break;
        case NoticeKind::kModifiedGraphics:
        case NoticeKind::kGoodbye:
            break;
        }
    }
    static DatabaseState living(DatabaseState state)
    {
        std::erase_if(state, [](auto const& entry) { return entry.second.erased; });
        return state;
    }
    TestBagPtr write(std::uint8_t choice)
    {
        return m_ids[choice % m_ids.size()].safeOpenObject(OdDb::kForWrite, /*openErased=*/true);
    }

    void apply(Step const& step)
    {
        switch (step.kind % 8) {
        case 0:
            return write(step.a)->addPersistentReactor(m_ids[step.b % m_ids.size()]);
        case 1:
            return write(step.a)->setNumber(step.b);
        case 2:
            return write(step.a)->addToNumber(step.b);
        case 3:
            (void)write(step.a)->erase(step.b % 2 == 0);
            return;
        case 4:
            if (step.b % 2 == 0 && !m_open.empty()) {
                m_open.pop_back();
            } else {
                m_open.push_back(write(step.a));
            }
            return;
        case 5:
            m_db->startTransaction();
            write(step.a)->setNumber(step.b);
            write(step.b)->setText(L"transaction");
            step.c % 2 == 0 ? m_db->abortTransaction() : m_db->endTransaction();
            return;
        case 6:
            m_open.clear();
            m_states.push_back(stateOf(*m_db));
            return m_db->startUndoRecord();
        default:
            return write(step.a)->removePersistentReactor(m_ids[step.b % m_ids.size()]);
        }
    }

    static inline int s_answersLeft = 0;

    Platform m_platform;
    AssertRecorder m_asserts;
    OdDbDatabasePtr m_db = OdDbDatabase::createObject();
    std::vector<OdDbObjectId> m_ids;
    std::vector<DatabaseState> m_states;
    std::vector<OdDbObjectPtr> m_open;
};

RC_GTEST_PROP(UndoProperty, EditsThatReactorsAnswerWithEditsAreTakenBackAndForth, ())
{
    const std::vector<Step> steps = *anySteps();
    ReactingSession session;
    session.run(steps);
}

}  // namespace
