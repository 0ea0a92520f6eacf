// The services the simulated host hands to plug-ins, by name.
#include <cstring>
#include <string>

#include "global_methods.h"
#include "host_world.h"

namespace kora_host {

namespace {

HostWorld& World() { return HostWorld::Get(); }

const PropertyDecl* FindProperty(const HostObject& object, const char* name) {
  if (!object.cls || !name) return nullptr;
  for (const PropertyDecl& p : object.cls->properties) {
    if (SameName(p.name, name)) return &p;
  }
  return nullptr;
}

// ---- registration -------------------------------------------------------------------

KORABoolean RegisterClass(const KORAClassDefinition* definition) {
  World().ServiceEntered("KORARegisterClass");
  if (!definition || !definition->name || !definition->superName || definition->dataSize < 0 ||
      definition->propertyCount < 0 || definition->methodCount < 0) {
    World().Violation("KORARegisterClass: incomplete class definition");
    return 0;
  }
  auto cls = std::make_unique<RegisteredClass>();
  cls->definition = definition;
  cls->name = definition->name;
  cls->superName = definition->superName;
  if (World().FindClass(cls->name)) {
    World().Violation("KORARegisterClass: class " + cls->name + " registered twice");
    return 0;
  }
  for (int32_t i = 0; i < definition->propertyCount; ++i) {
    const KORAPropertyDefinition& p = definition->properties[i];
    if (!p.name || !p.type) {
      World().Violation("KORARegisterClass: incomplete property of " + cls->name);
      return 0;
    }
    cls->properties.push_back({p.name, p.type, CTypeOf(p.type)});
  }
  for (int32_t i = 0; i < definition->methodCount; ++i) {
    const KORAMethodDefinition& m = definition->methods[i];
    MethodDecl decl;
    std::string error;
    if (!m.function || !m.declaration || !ParseMethodDeclaration(m.declaration, &decl, &error)) {
      World().Violation("KORARegisterClass: method " + std::to_string(i) + " of " + cls->name +
                        ": " + (error.empty() ? "incomplete" : error));
      return 0;
    }
    decl.function = m.function;
    cls->methods.push_back(decl);
  }
  World().registrationLog.push_back("class " + cls->name);
  World().classes.push_back(std::move(cls));
  return 1;
}

KORABoolean RegisterDBEngine(const KORADatabaseEngine* engine) {
  World().ServiceEntered("KORARegisterDBEngine");
  if (!engine || engine->version != KORA_ENGINE_VERSION) {
    World().registrationLog.push_back("engine refused (version " +
                                      std::to_string(engine ? engine->version : 0) + ")");
    return 0;
  }
  World().engines.push_back(engine);
  World().registrationLog.push_back("engine");
  return 1;
}

KORABoolean RegisterDBCursor(const KORADBCursorDefinition* definition) {
  World().ServiceEntered("KORARegisterDBCursor");
  if (!definition || definition->version != KORA_CURSOR_VERSION || !definition->close) {
    World().registrationLog.push_back("cursor type refused");
    return 0;
  }
  World().cursorTypes.push_back(definition);
  World().registrationLog.push_back("cursor type");
  return 1;
}

KORABoolean RegisterDataSource(const KORADataSourceEntry* entry) {
  World().ServiceEntered("KORARegisterDataSource");
  if (!entry || !entry->menuTitle || !entry->choose || !entry->getDatabase) {
    World().registrationLog.push_back("data source refused");
    return 0;
  }
  World().dataSources.push_back(entry);
  World().registrationLog.push_back(std::string("data source \"") + entry->menuTitle + "\"");
  return 1;
}

// ---- database objects -------------------------------------------------------------------

KORAClassRef GetClassData(const char* className) {
  World().ServiceEntered("KORAGetClassData");
  if (!className) return nullptr;
  return reinterpret_cast<KORAClassRef>(const_cast<RegisteredClass*>(World().FindClass(className)));
}

KORAObject ConstructDBDatabase(KORAClassRef classData, const KORADatabaseEngine* engine) {
  World().ServiceEntered("KORAConstructDBDatabase");
  const auto* cls = reinterpret_cast<const RegisteredClass*>(classData);
  bool known = false;
  for (const auto& c : World().classes) known = known || c.get() == cls;
  bool registered = false;
  for (const KORADatabaseEngine* e : World().engines) registered = registered || e == engine;
  if (!known || !registered) {
    World().Violation("KORAConstructDBDatabase with an unregistered class or engine");
    return nullptr;
  }
  if (!SameName(cls->superName, "Database")) {
    World().Violation("KORAConstructDBDatabase: " + cls->name + " is not a Database class");
    return nullptr;
  }
  HostObject* object = World().NewObject(cls->name);
  object->cls = cls;
  object->data.assign(static_cast<size_t>(cls->definition->dataSize), 0);
  object->engine = engine;
  return reinterpret_cast<KORAObject>(object);
}

void* GetDBFromKORAdbDatabase(KORAObject db) {
  World().ServiceEntered("KORAGetDBFromKORAdbDatabase");
  HostObject* object = World().Checked(db, "KORAGetDBFromKORAdbDatabase");
  if (!object || !object->engine) return nullptr;
  return object->data.empty() ? nullptr : object->data.data();
}

void SetDBIsConnected(KORAObject db, KORABoolean connected) {
  World().ServiceEntered("KORASetDBIsConnected");
  HostObject* object = World().Checked(db, "KORASetDBIsConnected");
  if (object && object->engine) object->connected = connected != 0;
}

void ReportDBError(KORAObject db, const char* sqlState, KORAText message) {
  World().ServiceEntered("KORAReportDBError");
  HostObject* object = World().Checked(db, "KORAReportDBError");
  if (!object) return;
  World().ReportError(object, sqlState ? sqlState : "", FromText(message));
}

KORADBCursor NewDBCursor(const KORADBCursorDefinition* definition, void* cursorData) {
  World().ServiceEntered("KORANewDBCursor");
  bool registered = false;
  for (const KORADBCursorDefinition* d : World().cursorTypes) registered = registered || d == definition;
  if (!registered) return nullptr;
  return World().NewCursor(definition, cursorData);
}

// ---- properties and objects ------------------------------------------------------------

KORABoolean GetPropValue(KORAObject handle, const char* property, void* value) {
  World().ServiceEntered("KORAGetPropValue");
  HostObject* object = World().Checked(handle, "KORAGetPropValue");
  const PropertyDecl* decl = object ? FindProperty(*object, property) : nullptr;
  if (!decl || !value) return 0;
  const PropertyValue& stored = object->properties[decl->name];
  switch (decl->ctype) {
    case CType::kObject: {
      HostObject* ref = std::holds_alternative<HostObject*>(stored) ? std::get<HostObject*>(stored)
                                                                      : nullptr;
      World().AddRef(ref);
      *static_cast<KORAObject*>(value) = reinterpret_cast<KORAObject>(ref);
      return 1;
    }
    case CType::kText: {
      const std::string* text = std::get_if<std::string>(&stored);
      *static_cast<KORAText*>(value) = World().ReturnText(text ? *text : std::string());
      return 1;
    }
    case CType::kInt: {
      const int32_t* number = std::get_if<int32_t>(&stored);
      *static_cast<int32_t*>(value) = number ? *number : 0;
      return 1;
    }
    case CType::kVoid:
      break;
  }
  return 0;
}

KORABoolean SetPropValue(KORAObject handle, const char* property, const void* value) {
  World().ServiceEntered("KORASetPropValue");
  HostObject* object = World().Checked(handle, "KORASetPropValue");
  const PropertyDecl* decl = object ? FindProperty(*object, property) : nullptr;
  if (!decl || !value) return 0;
  PropertyValue& stored = object->properties[decl->name];
  switch (decl->ctype) {
    case CType::kObject: {
      HostObject* ref = World().Checked(*static_cast<const KORAObject*>(value), "KORASetPropValue");
      if (ref && !SameName(ref->className, decl->type)) return 0;
      World().AddRef(ref);
      HostObject* old = std::holds_alternative<HostObject*>(stored) ? std::get<HostObject*>(stored)
                                                                      : nullptr;
      stored = ref;
      World().Release(old);
      return 1;
    }
    case CType::kText:
      stored = FromText(*static_cast<const KORAText*>(value));
      return 1;
    case CType::kInt:
      stored = *static_cast<const int32_t*>(value);
      return 1;
    case CType::kVoid:
      break;
  }
  return 0;
}

void ReleaseObject(KORAObject handle) {
  World().ServiceEntered("KORAReleaseObject");
  HostObject* object = World().Checked(handle, "KORAReleaseObject");
  if (object) World().Release(object);
}

KORABoolean FolderItemPath(KORAObject handle, KORAText* path) {
  World().ServiceEntered("KORAFolderItemPath");
  HostObject* object = World().Checked(handle, "KORAFolderItemPath");
  if (!object || !path || object->className != "FolderItem" || object->path.empty()) return 0;
  *path = World().ReturnText(object->path);
  return 1;
}

KORAFunction LoadGlobalMethod(const char* declaration) {
  World().ServiceEntered("KORALoadGlobalMethod");
  return declaration ? FindGlobalMethod(declaration) : nullptr;
}

template <typename Function>
KORAFunction Service(Function function) {
  return reinterpret_cast<KORAFunction>(function);
}

struct NamedService {
  const char* name;
  KORAFunction function;
};

const NamedService kServices[] = {
    {"KORARegisterClass", Service(RegisterClass)},
    {"KORARegisterDBEngine", Service(RegisterDBEngine)},
    {"KORARegisterDBCursor", Service(RegisterDBCursor)},
    {"KORARegisterDataSource", Service(RegisterDataSource)},
    {"KORAGetClassData", Service(GetClassData)},
    {"KORAConstructDBDatabase", Service(ConstructDBDatabase)},
    {"KORAGetDBFromKORAdbDatabase", Service(GetDBFromKORAdbDatabase)},
    {"KORASetDBIsConnected", Service(SetDBIsConnected)},
    {"KORAGetPropValue", Service(GetPropValue)},
    {"KORASetPropValue", Service(SetPropValue)},
    {"KORAReleaseObject", Service(ReleaseObject)},
    {"KORAFolderItemPath", Service(FolderItemPath)},
    {"KORALoadGlobalMethod", Service(LoadGlobalMethod)},
    {"KORAReportDBError", Service(ReportDBError)},
    {"KORANewDBCursor", Service(NewDBCursor)},
};

}  // namespace

KORAFunction ResolveService(const char* name) {
  if (!name) return nullptr;
  for (const NamedService& service : kServices) {
    if (std::strcmp(service.name, name) == 0) return service.function;
  }
  return nullptr;
}

}  // namespace kora_host
