#include "root/od_result.h"

namespace {

struct ResultText
{
    OdResult result;
    char const* text;
};

constexpr ResultText kTexts[] = {
    {kOdOk, "success"},
    {kOdRejectedVersion, "stored version item is refused"},
    {kOdUnresolvedPath, "a chain of ids can't be resolved"},
    {kOdNotHandled, "a property change was not handled"},
    {kOdNothingToDo, "no table, or already has a variable"},
    {kOdInvalidInput, "bad input, invalid range, no result"},
    {kOdOutOfMemory, "no memory"},
    {kOdNullHandle, "null handle in an attribute"},
    {kOdNoSheetMetalContext, "block has no sheet-metal context"},
    {kOdEntityWithoutId, "entity is in no database"},
    {kOdNoEntity, "there is no entity"},
    {kOdRowNotRemoved, "row of a table was not removed"},
    {kOdDuplicateKey, "key stands in the table already"},
    {kOdInvalidIterator, "iterator doesn't belong to the array"},
    {kOdNoSuchVariable, "no variable of that name"},
    {kOdUnreadableAttribute, "attribute data can't be read"},
    {kOdNewerLinkFormat, "link was stored in a newer format"},
    {kOdNotOpenForRead, "object is not open for read"},
    {kOdBadStream, "malformed stream"},
    {kOdNullHandleOnWrite, "null handle was to be written"},
    {kOdTableNotCreated, "table couldn't be created"},
    {kOdClassNotRegistered, "no class description"},
    {kOdClassAlreadyRegistered, "class description exists already"},
    {kOdVariableMissing, "variable is missing or null"},
    {kOdMessage, "an OdError built on a message"},
    {kOdInvalidIndex, "index past the end"},
    {kOdNotThatKindOfClass, "object is of another class"},
    {kOdNotOpenForWrite, "object is not open for write"},
    {kOdNotOpen, "object is not open at all"},
    {kOdNullObjectId, "id is null"},
    {kOdNullObjectPointer, "object pointer is null"},
    {kOdWasErased, "object is erased"},
    {kOdAlreadyErased, "object was erased before"},
    {kOdNotErased, "object to be brought back isn't erased"},
    {kOdNotInDatabase, "object is in no database"},
    {kOdAlreadyInDatabase, "object is in a database already"},
    {kOdWrongDatabase, "object belongs to another database"},
    {kOdHandleInUse, "handle is taken"},
    {kOdUnregisteredApp, "application name isn't registered"},
    {kOdInvalidKey, "key or name isn't allowed"},
    {kOdDuplicateName, "name stands in the table already"},
    {kOdKeyNotFound, "no entry under that key"},
    {kOdObjectDamaged, "stored bytes of the object are damaged"},
    {kOdNoUndo, "nothing to undo or redo"},
    {kOdTransactionOpen, "not possible inside a transaction"},
    {kOdNoTransaction, "no transaction is open"},
    {kOdEndOfStream, "reading or writing past the end of a stream"},
    {kOdWrongResBufType, "result buffer holds another kind of value"},
    {kOdFileNotFound, "there is no such file"},
    {kOdFileAccess, "file can't be read or written"},
    {kOdFileLocked, "file is open for writing elsewhere"},
    {kOdFileCorrupt, "file is no drawing, or is damaged as a whole"},
    {kOdFileTooNew, "file was made by a newer format"},
    {kOdFileChanged, "file was saved by another process meanwhile"},
    {kOdModuleNotLoaded, "module file can't be loaded"},
    {kOdModuleVersion, "module is built for another version"},
    {kOdModuleInUse, "module's objects are still alive"},
    {kOdNotApplicable, "operation isn't defined for this class"},
    {kOdDatabaseInUse, "databases are still alive"},
    {kOdHandlesExhausted, "no handle is left"},
    {kOdCyclicReference, "objects own or contain one another in a ring"},
    {kOdUnsupportedVersion, "version isn't one that can be written"},
    {kOdReadOnly, "drawing was opened for reading only"},
};

}  // namespace

char const* odResultText(OdResult result) noexcept
{
    for (ResultText const& row : kTexts) {
        if (row.result == result) {
            return row.text;
        }
    }
    return "unknown result";
}
