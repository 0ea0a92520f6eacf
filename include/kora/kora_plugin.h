/* The KORA host's plug-in interface (plain C; nothing of C++ crosses it).
 *
 * A plug-in is a shared library that exports one entry point,
 * KORA_PLUGIN_ENTRY_NAME, of type KORAPluginEntryProc. The host calls it once
 * after loading the library and hands it a resolver: a function that maps the
 * name of a host service to a function pointer (null for an unknown name).
 * The plug-in looks up every host call it uses by name through it and then
 * registers plain records (class declarations, a database engine, a cursor
 * type, design-time data sources). Nothing is looked up by position.
 *
 * Conventions that hold across the whole interface:
 * - Texts travel as KORAText (bytes, length, encoding code). A KORAText handed
 *   to a callee is valid for the duration of the call only. A KORAText that a
 *   plug-in returns stays valid until the host's next call into the plug-in;
 *   one the host returns stays valid until the plug-in's next call into the
 *   host. Texts may contain any bytes, NUL included; length decides.
 * - Booleans are KORABoolean: 0 false, anything else true.
 * - Objects (KORAObject) are reference counted by the host. A service that
 *   returns an object (a property of object type, a global method returning a
 *   FolderItem, KORAConstructDBDatabase) hands out a new reference, which the
 *   receiver gives back with KORAReleaseObject, or passes on as its own result.
 * - Method functions are registered as a generic KORAFunction together with
 *   their declaration text; the host calls them with the C types that the
 *   declaration implies: the object first, then one argument per parameter.
 *   Parameter and result types map as String -> KORAText, Integer -> int32_t,
 *   Boolean -> KORABoolean, FolderItem (any object type) -> KORAObject; a
 *   method without "As" returns void.
 * - Field-type codes are shared by the host and its database engines:
 *   KORA_FIELD_* below.
 */
#ifndef KORA_PLUGIN_H
#define KORA_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- basic types ---------------------------------------------------------- */

typedef int32_t KORABoolean;

typedef struct KORAObjectImp* KORAObject;   /* an instance of a host class */
typedef struct KORAClassImp* KORAClassRef;  /* a registered class */
typedef struct KORACursorImp* KORADBCursor; /* a host cursor over plug-in data */

typedef struct KORAText {
  const char* bytes;
  int32_t length;
  uint32_t encoding; /* KORA_ENCODING_* */
} KORAText;

/* Text-encoding codes. */
#define KORA_ENCODING_DEFAULT 1536u
#define KORA_ENCODING_UTF16 256u
#define KORA_ENCODING_UTF8 0x08000100u

/* Field-type codes of database columns and values. */
#define KORA_FIELD_NONE 0
#define KORA_FIELD_INTEGER 3
#define KORA_FIELD_STRING 5
#define KORA_FIELD_DOUBLE 7
#define KORA_FIELD_DATE 8
#define KORA_FIELD_TIME 9
#define KORA_FIELD_TIMESTAMP 10
#define KORA_FIELD_BOOLEAN 12
#define KORA_FIELD_BINARY 14

/* Any function; the receiver casts it to the type its declaration implies. */
typedef void (*KORAFunction)(void);

/* ---- entry point ---------------------------------------------------------- */

#define KORA_PLUGIN_ENTRY_NAME "KORAPluginEntry"

typedef KORAFunction (*KORAResolver)(const char* serviceName);
/* Returns false when the plug-in cannot work with this host (a service it
 * needs is missing or a registration was refused). */
typedef KORABoolean (*KORAPluginEntryProc)(KORAResolver resolve);

/* ---- class declarations --------------------------------------------------- */

typedef struct KORAPropertyDefinition {
  const char* name; /* "DatabaseFile" */
  const char* type; /* "FolderItem", "String", "Integer", "Boolean" */
} KORAPropertyDefinition;

typedef struct KORAMethodDefinition {
  KORAFunction function;
  const char* declaration; /* e.g. "LastRowID(tableName as String) As Integer" */
} KORAMethodDefinition;

typedef struct KORAClassDefinition {
  const char* name;
  const char* superName;
  int32_t dataSize; /* bytes of per-object data, zeroed by the host */
  const KORAPropertyDefinition* properties;
  int32_t propertyCount;
  const KORAMethodDefinition* methods; /* in declaration order */
  int32_t methodCount;
  /* Builds a new instance (called for "New <class>"); returns a reference
   * that the caller owns, or null. Null here: the host builds a plain
   * instance itself. */
  KORAObject (*constructor)(void);
} KORAClassDefinition;

/* ---- database engines ----------------------------------------------------- */

#define KORA_ENGINE_VERSION 6
#define KORA_CURSOR_VERSION 6

/* A column value as a cursor delivers it or a row edit supplies it. `type`
 * selects the reading: INTEGER and BOOLEAN use `integer`, DOUBLE uses
 * `number`, STRING, DATE, TIME, TIMESTAMP and BINARY use `text` (dates and
 * times as their bare text, e.g. 2001-02-03). `isNull` marks SQL NULL; the
 * type then still names the column's type. */
typedef struct KORAColumnValue {
  int32_t type;
  KORABoolean isNull;
  int32_t integer;
  double number;
  KORAText text;
} KORAColumnValue;

/* One changed column of a cursor row edit. */
typedef struct KORAFieldUpdate {
  int32_t column; /* 0-based result column */
  KORAColumnValue value;
} KORAFieldUpdate;

/* The host's generic Database framework drives an engine through this table.
 * Every entry receives the database object (an instance built by
 * KORAConstructDBDatabase). Entries that an engine does not offer are null;
 * the host then reports the operation as unsupported. Entries that return a
 * cursor return null when there is none (an error has been reported through
 * KORAReportDBError, or the statement produced no rows to walk). */
typedef struct KORADatabaseEngine {
  int32_t version; /* KORA_ENGINE_VERSION */
  void (*close)(KORAObject db);
  KORADBCursor (*tableSchema)(KORAObject db);
  KORADBCursor (*fieldSchema)(KORAObject db, KORAText table);
  KORADBCursor (*directSelect)(KORAObject db, KORAText sql);
  void (*directExecute)(KORAObject db, KORAText sql);
  KORADBCursor (*indexSchema)(KORAObject db, KORAText table);
  void (*commit)(KORAObject db);
  void (*rollback)(KORAObject db);
  /* The engine's column types: `codes` receives `count` field-type codes and
   * `names` their names, comma-separated, in the same order. */
  void (*columnTypes)(KORAObject db, const int32_t** codes, KORAText* names, int32_t* count);
  /* Inserts one record built by the framework (column names and values). */
  KORABoolean (*addTableRecord)(KORAObject db, KORAText table, const KORAText* columns,
                                const KORAColumnValue* values, int32_t count);
  /* The last error of the engine, for hosts that poll instead of receiving
   * KORAReportDBError. */
  KORAText (*lastErrorMessage)(KORAObject db);
} KORADatabaseEngine;

/* A cursor type. Every entry receives the plug-in's cursor data, as handed to
 * KORANewDBCursor. Rows are numbered from 0; a fresh cursor stands on row 0.
 * `close` frees the cursor data; the host calls it exactly once. The host
 * keeps the database object whose engine made a cursor alive until the
 * cursor is closed (the database itself may be closed meanwhile). */
typedef struct KORADBCursorDefinition {
  int32_t version; /* KORA_CURSOR_VERSION */
  void (*close)(void* cursor);
  int32_t (*columnCount)(void* cursor);
  KORAText (*columnName)(void* cursor, int32_t column);
  int32_t (*columnType)(void* cursor, int32_t column); /* 0 when off a row */
  KORABoolean (*columnValue)(void* cursor, int32_t column, KORAColumnValue* value);
  int32_t (*rowCount)(void* cursor);
  KORABoolean (*next)(void* cursor); /* true when it lands on a row */
  void (*previous)(void* cursor);
  void (*first)(void* cursor);
  void (*last)(void* cursor);
  /* Writes the changed columns of the current row back to the database. */
  KORABoolean (*update)(void* cursor, const KORAFieldUpdate* fields, int32_t count);
  /* Deletes the current row. */
  KORABoolean (*deleteRow)(void* cursor);
} KORADBCursorDefinition;

/* ---- design-time data sources --------------------------------------------- */

/* An entry of the host's database menu. `choose` runs the entry's dialog and
 * returns true with `saveInfo` set to the text that identifies the chosen
 * database, or false with `error` set ("user cancelled" when the dialog was
 * cancelled). `getDatabase` opens the database that such a text identifies
 * and returns a new reference to a connected database object, or null with
 * `error` set. Texts set by the plug-in follow the returned-text rule. */
typedef struct KORADataSourceEntry {
  const char* menuTitle;
  KORABoolean (*choose)(KORAText* saveInfo, KORAText* error);
  KORAObject (*getDatabase)(KORAText saveInfo, KORAText* error);
} KORADataSourceEntry;

/* ---- host services (resolved by these names) ------------------------------ */

/* "KORARegisterClass": registers a class; false when refused. */
typedef KORABoolean (*KORARegisterClassProc)(const KORAClassDefinition* definition);
/* "KORARegisterDBEngine": registers a database engine table. */
typedef KORABoolean (*KORARegisterDBEngineProc)(const KORADatabaseEngine* engine);
/* "KORARegisterDBCursor": registers a cursor type. */
typedef KORABoolean (*KORARegisterDBCursorProc)(const KORADBCursorDefinition* definition);
/* "KORARegisterDataSource": adds an entry to the database menu. */
typedef KORABoolean (*KORARegisterDataSourceProc)(const KORADataSourceEntry* entry);
/* "KORAGetClassData": the registered class of that name, or null. */
typedef KORAClassRef (*KORAGetClassDataProc)(const char* className);
/* "KORAConstructDBDatabase": a new instance of a database class, bound to a
 * registered engine, not connected; a new reference, or null. */
typedef KORAObject (*KORAConstructDBDatabaseProc)(KORAClassRef classData,
                                                  const KORADatabaseEngine* engine);
/* "KORAGetDBFromKORAdbDatabase": the per-object data of a database object,
 * or null when the object is none. */
typedef void* (*KORAGetDBFromKORAdbDatabaseProc)(KORAObject db);
/* "KORASetDBIsConnected": sets the host's connected flag of a database. */
typedef void (*KORASetDBIsConnectedProc)(KORAObject db, KORABoolean connected);
/* "KORAGetPropValue": reads a property into `value` (its C type by the
 * property's type: KORAObject*, KORAText*, int32_t*, KORABoolean*); false when
 * the object has no such property. An object value is a new reference (null
 * for nil). */
typedef KORABoolean (*KORAGetPropValueProc)(KORAObject object, const char* property, void* value);
/* "KORASetPropValue": writes a property from `value` (same C types; an object
 * value is not consumed). */
typedef KORABoolean (*KORASetPropValueProc)(KORAObject object, const char* property,
                                            const void* value);
/* "KORAReleaseObject": gives back a reference. */
typedef void (*KORAReleaseObjectProc)(KORAObject object);
/* "KORAFolderItemPath": the host file path of a FolderItem; false when the
 * object is not a FolderItem or has no file path. */
typedef KORABoolean (*KORAFolderItemPathProc)(KORAObject item, KORAText* path);
/* "KORALoadGlobalMethod": the host's global method with exactly this
 * declaration, or null. */
typedef KORAFunction (*KORALoadGlobalMethodProc)(const char* declaration);
/* "KORAReportDBError": sets the database object's error (SQLSTATE code and
 * message); the host clears it before each call into the engine. */
typedef void (*KORAReportDBErrorProc)(KORAObject db, const char* sqlState, KORAText message);
/* "KORANewDBCursor": a host cursor over plug-in cursor data of a registered
 * cursor type; the host owns it from then on and closes it through the
 * type's `close`. Null when the type is not registered (the data is then
 * still the caller's). */
typedef KORADBCursor (*KORANewDBCursorProc)(const KORADBCursorDefinition* definition,
                                            void* cursorData);

/* Signatures of the global methods a plug-in may load. */
typedef KORAObject (*KORAGetSaveFolderItemProc)(KORAText filter, KORAText defaultName);
typedef KORAObject (*KORAGetOpenFolderItemProc)(KORAText filter);
typedef KORAText (*KORAGetSaveInfoProc)(KORAObject base, int32_t mode);
typedef KORAObject (*KORAGetFolderItemProc)(KORAText saveInfo);

#ifdef __cplusplus
}
#endif

#endif /* KORA_PLUGIN_H */
