// All result numbers of the system, each with its meaning, and their texts.

#pragma once

/// A plain result number; 0 is success.
using OdResult = int;

/// \name Numbers that the module returns, throws or tests
/// @{
constexpr OdResult kOdOk = 0;                        ///< 0: success
constexpr OdResult kOdRejectedVersion = 1;           ///< 1: stored version item is refused
constexpr OdResult kOdUnresolvedPath = 2;            ///< 2: a chain of ids can't be resolved
constexpr OdResult kOdNotHandled = 3;                ///< 3: a property change was not handled
constexpr OdResult kOdNothingToDo = 4;               ///< 4: no table, or already has a variable
constexpr OdResult kOdInvalidInput = 5;              ///< 5: bad input, invalid range, no result
constexpr OdResult kOdOutOfMemory = 9;               ///< 9: no memory
constexpr OdResult kOdNullHandle = 16;               ///< 16: null handle in an attribute
constexpr OdResult kOdNoSheetMetalContext = 20;      ///< 20: block has no sheet-metal context
constexpr OdResult kOdEntityWithoutId = 21;          ///< 21: entity is in no database
constexpr OdResult kOdNoEntity = 24;                 ///< 24: there is no entity
constexpr OdResult kOdRowNotRemoved = 26;            ///< 26: row of a table was not removed
constexpr OdResult kOdDuplicateKey = 27;             ///< 27: key stands in the table already
constexpr OdResult kOdInvalidIterator = 28;          ///< 28: iterator doesn't belong to the array
constexpr OdResult kOdNoSuchVariable = 38;           ///< 38: no variable of that name
constexpr OdResult kOdUnreadableAttribute = 39;      ///< 39: attribute data can't be read
constexpr OdResult kOdNewerLinkFormat = 42;          ///< 42: link was stored in a newer format
constexpr OdResult kOdNotOpenForRead = 61;           ///< 61: object is not open for read
constexpr OdResult kOdBadStream = 83;                ///< 83: malformed stream
constexpr OdResult kOdNullHandleOnWrite = 106;       ///< 106: null handle was to be written
constexpr OdResult kOdTableNotCreated = 226;         ///< 226: table couldn't be created
constexpr OdResult kOdClassNotRegistered = 255;      ///< 255: no class description
constexpr OdResult kOdClassAlreadyRegistered = 313;  ///< 313: class description exists already
constexpr OdResult kOdVariableMissing = 417;         ///< 417: variable is missing or null
/// @}

/// \name Numbers of the platform's own failures
/// @{
constexpr OdResult kOdMessage = 1000;             ///< an `OdError` built on a message
constexpr OdResult kOdInvalidIndex = 1001;        ///< index past the end
constexpr OdResult kOdNotThatKindOfClass = 1002;  ///< object is of another class
constexpr OdResult kOdNotOpenForWrite = 1003;     ///< object is not open for write
constexpr OdResult kOdNotOpen = 1004;             ///< object is not open at all
constexpr OdResult kOdNullObjectId = 1005;        ///< id is null
constexpr OdResult kOdNullObjectPointer = 1006;   ///< object pointer is null
constexpr OdResult kOdWasErased = 1007;           ///< object is erased
constexpr OdResult kOdAlreadyErased = 1008;       ///< object was erased before
constexpr OdResult kOdNotErased = 1009;           ///< object to be brought back isn't erased
constexpr OdResult kOdNotInDatabase = 1010;       ///< object is in no database
constexpr OdResult kOdAlreadyInDatabase = 1011;   ///< object is in a database already
constexpr OdResult kOdWrongDatabase = 1012;       ///< object belongs to another database
constexpr OdResult kOdHandleInUse = 1013;         ///< handle is taken
constexpr OdResult kOdUnregisteredApp = 1014;     ///< application name isn't registered
constexpr OdResult kOdInvalidKey = 1015;          ///< key or name isn't allowed
constexpr OdResult kOdDuplicateName = 1016;       ///< name stands in the table already
constexpr OdResult kOdKeyNotFound = 1017;         ///< no entry under that key
constexpr OdResult kOdObjectDamaged = 1018;       ///< stored bytes of the object are damaged
constexpr OdResult kOdNoUndo = 1019;              ///< nothing to undo or redo
constexpr OdResult kOdTransactionOpen = 1020;     ///< not possible inside a transaction
constexpr OdResult kOdNoTransaction = 1021;       ///< no transaction is open
constexpr OdResult kOdEndOfStream = 1022;         ///< reading or writing past the end of a stream
constexpr OdResult kOdWrongResBufType = 1023;     ///< result buffer holds another kind of value
constexpr OdResult kOdFileNotFound = 1024;        ///< there is no such file
constexpr OdResult kOdFileAccess = 1025;          ///< file can't be read or written
constexpr OdResult kOdFileLocked = 1026;          ///< file is open for writing elsewhere
constexpr OdResult kOdFileCorrupt = 1027;         ///< file is no drawing, or is damaged as a whole
constexpr OdResult kOdFileTooNew = 1028;          ///< file was made by a newer format
constexpr OdResult kOdFileChanged = 1029;         ///< file was saved by another process meanwhile
constexpr OdResult kOdModuleNotLoaded = 1030;     ///< module file can't be loaded
constexpr OdResult kOdModuleVersion = 1031;       ///< module is built for another version
constexpr OdResult kOdModuleInUse = 1032;         ///< module's objects are still alive
constexpr OdResult kOdNotApplicable = 1033;       ///< operation isn't defined for this class
constexpr OdResult kOdDatabaseInUse = 1034;       ///< databases are still alive
constexpr OdResult kOdHandlesExhausted = 1035;    ///< no handle is left
constexpr OdResult kOdCyclicReference = 1036;     ///< objects own or contain one another in a ring
constexpr OdResult kOdUnsupportedVersion = 1037;  ///< version isn't one that can be written
constexpr OdResult kOdReadOnly = 1038;            ///< drawing was opened for reading only
/// @}

/// A short text for a result number, without a final stop; "unknown result" for any other.
char const* odResultText(OdResult result) noexcept;
