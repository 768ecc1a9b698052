#pragma once

// The automation interfaces in their binary layout for 64-bit systems: what crosses between the server library and a
// client of any language. An interface pointer points to a pointer to a table of functions in the order declared here;
// each function takes the interface pointer first and follows the C calling convention of the system.
//
// Memory that crosses belongs to the receiver and is malloc/free:
// - A text (`Bstr`) points to UTF-16 units in the machine's byte order. Its block begins 4 bytes before the text with
//   the length in bytes (32 bits, without the terminator) and ends with a zero unit:
//   block = malloc(4 + bytes + 2), text = block + 4, and the receiver calls free(text - 4). Null is the empty text.
// - A byte array is a `SafeArray` of one dimension (`cbElements` 1); header and data are two blocks, each free()d.
// - A record's data comes from its `IRecordInfo` (`RecordCreate`) and goes back there (`RecordDestroy`).
// - Arguments of a call stay the caller's: the callee copies what it keeps. A by-reference argument is released and
//   replaced by the callee.
//
// What a client may rely on beyond the standard:
// - The type description of a class is that of its interface: named `_Note`, its documentation text is the
//   programmatic identifier (`prjCorveth.Note`; empty for a class that is not in this build), its functions stand in
//   slot order without the inherited ones.
// - The type description of a record answers `QueryInterface` for `IRecordInfo`.
// - Class ids are name-based (class_ids.h); the id of the identifier in lower case stands for the same class.

#include <cstddef>
#include <cstdint>

namespace corveth::binary {

using HResult = std::int32_t;
using DispId = std::int32_t;
using Lcid = std::uint32_t;
using RefType = std::uint32_t;
using VarType = std::uint16_t;
using VariantBool = std::int16_t; ///< 0 or -1
using OleChar = char16_t;
using Bstr = char16_t*;

struct Guid {
    std::uint32_t data1;
    std::uint16_t data2, data3;
    std::uint8_t data4[8];

    friend bool operator==(const Guid&, const Guid&) = default;
};
static_assert(sizeof(Guid) == 16);

namespace results {
constexpr HResult code(std::uint32_t value) noexcept {
    return static_cast<HResult>(value);
}
inline constexpr HResult ok = 0;
inline constexpr HResult no = 1; ///< S_FALSE
inline constexpr HResult notImplemented = code(0x80004001);
inline constexpr HResult noInterface = code(0x80004002);
inline constexpr HResult badPointer = code(0x80004003);
inline constexpr HResult failed = code(0x80004005);
inline constexpr HResult unknownInterface = code(0x80020001);
inline constexpr HResult memberNotFound = code(0x80020003);
inline constexpr HResult typeMismatch = code(0x80020005);
inline constexpr HResult paramNotFound = code(0x80020004);
inline constexpr HResult unknownName = code(0x80020006);
inline constexpr HResult exception = code(0x80020009);
inline constexpr HResult badIndex = code(0x8002000B);
inline constexpr HResult elementNotFound = code(0x8002802B);
inline constexpr HResult noAggregation = code(0x80040110);
inline constexpr HResult classNotAvailable = code(0x80040111);
inline constexpr HResult registrationClass = code(0x80040201);
inline constexpr HResult outOfMemory = code(0x8007000E);
inline constexpr HResult invalidArgument = code(0x80070057);
inline constexpr HResult wrongThread = code(0x8001010E);
} // namespace results

namespace vt {
inline constexpr VarType empty = 0;
inline constexpr VarType null = 1;
inline constexpr VarType i2 = 2;
inline constexpr VarType i4 = 3;
inline constexpr VarType r4 = 4;
inline constexpr VarType r8 = 5;
inline constexpr VarType cy = 6;
inline constexpr VarType date = 7;
inline constexpr VarType bstr = 8;
inline constexpr VarType dispatch = 9;
inline constexpr VarType error = 10;
inline constexpr VarType boolean = 11;
inline constexpr VarType variant = 12;
inline constexpr VarType unknown = 13;
inline constexpr VarType decimal = 14;
inline constexpr VarType i1 = 16;
inline constexpr VarType ui1 = 17;
inline constexpr VarType ui2 = 18;
inline constexpr VarType ui4 = 19;
inline constexpr VarType i8 = 20;
inline constexpr VarType ui8 = 21;
inline constexpr VarType intMachine = 22;
inline constexpr VarType uintMachine = 23;
inline constexpr VarType none = 24; ///< VT_VOID: no result
inline constexpr VarType pointer = 26;
inline constexpr VarType safeArray = 27;
inline constexpr VarType userDefined = 29;
inline constexpr VarType record = 36;
inline constexpr VarType array = 0x2000;
inline constexpr VarType byRef = 0x4000;
} // namespace vt

struct IUnknown;
struct IDispatch;
struct ITypeInfo;
struct IRecordInfo;

struct SafeArrayBound {
    std::uint32_t cElements;
    std::int32_t lLbound;
};

struct SafeArray {
    std::uint16_t cDims;
    std::uint16_t fFeatures;
    std::uint32_t cbElements;
    std::uint32_t cLocks;
    void* pvData;
    SafeArrayBound rgsabound[1];
};
static_assert(sizeof(SafeArray) == 32 && offsetof(SafeArray, pvData) == 16);

struct Variant {
    struct RecordData {
        void* data;
        IRecordInfo* info;
    };
    VarType vt;
    std::uint16_t reserved[3];
    union {
        std::int8_t i1;
        std::uint8_t ui1;
        std::int16_t i2;
        std::uint16_t ui2;
        std::int32_t i4;
        std::uint32_t ui4;
        std::int64_t i8;
        std::uint64_t ui8;
        float r4;
        double r8;
        std::int64_t cy; ///< ten-thousandths
        double date;     ///< days since 1899-12-30
        VariantBool boolean;
        HResult scode;
        Bstr bstr;
        IUnknown* unknown;
        IDispatch* dispatch;
        SafeArray* array;
        RecordData record;
        void*
            byRef; ///< to a value of the type in `vt`, to a Variant with vt::variant; a by-reference record is `record`
    };
};
static_assert(sizeof(Variant) == 24 && offsetof(Variant, byRef) == 8);

struct DispParams {
    Variant* rgvarg; ///< last argument first
    DispId* rgdispidNamedArgs;
    std::uint32_t cArgs;
    std::uint32_t cNamedArgs;
};
static_assert(sizeof(DispParams) == 24);

struct ExcepInfo {
    std::uint16_t wCode;
    std::uint16_t wReserved;
    Bstr bstrSource;
    Bstr bstrDescription;
    Bstr bstrHelpFile;
    std::uint32_t dwHelpContext;
    void* pvReserved;
    HResult (*pfnDeferredFillIn)(ExcepInfo*);
    HResult scode;
};
static_assert(sizeof(ExcepInfo) == 64 && offsetof(ExcepInfo, scode) == 56);

namespace dispIds {
inline constexpr DispId value = 0;
inline constexpr DispId unknown = -1;
inline constexpr DispId propertyPut = -3;
inline constexpr DispId newEnum = -4;
} // namespace dispIds

// Type descriptions.

enum class TypeKindCode : std::int32_t {
    enumeration = 0,
    record = 1,
    module = 2,
    interface = 3,
    dispatch = 4,
    coclass = 5
};
enum class InvokeKind : std::int32_t { function = 1, propertyGet = 2, propertyPut = 4, propertyPutRef = 8 };
inline constexpr std::int32_t functionDispatch = 4;       ///< FUNCDESC::funckind
inline constexpr std::int32_t callStandard = 4;           ///< FUNCDESC::callconv
inline constexpr std::int32_t variableInstance = 0;       ///< VARDESC::varkind: `oInst`
inline constexpr std::int32_t variableConstant = 2;       ///< VARDESC::varkind: `lpvarValue`
inline constexpr std::uint16_t paramIn = 1;               ///< PARAMFLAG_FIN
inline constexpr std::uint16_t paramOut = 2;              ///< PARAMFLAG_FOUT: what the callee leaves comes back
inline constexpr std::uint16_t paramOptional = 16;        ///< PARAMFLAG_FOPT
inline constexpr std::uint16_t functionHidden = 0x40;     ///< FUNCFLAG_FHIDDEN
inline constexpr std::uint16_t typeCanCreate = 0x2;       ///< TYPEFLAG_FCANCREATE
inline constexpr std::uint16_t typeDual = 0x40;           ///< TYPEFLAG_FDUAL
inline constexpr std::uint16_t typeDispatchable = 0x1000; ///< TYPEFLAG_FDISPATCHABLE

struct TypeDesc {
    union {
        TypeDesc* pointed; ///< vt::pointer, vt::safeArray
        RefType refType;   ///< vt::userDefined
    };
    VarType vt;
};
struct ParamDesc {
    void* extra; ///< always null: an optional argument has no default of its own
    std::uint16_t flags;
};
struct ElemDesc {
    TypeDesc type;
    ParamDesc param;
};
static_assert(sizeof(TypeDesc) == 16 && sizeof(ElemDesc) == 32);

/// The assigned value of a put is its last parameter.
struct FuncDesc {
    DispId memid;
    HResult* lprgscode;
    ElemDesc* lprgelemdescParam;
    std::int32_t funckind;
    InvokeKind invkind;
    std::int32_t callconv;
    std::int16_t cParams;
    std::int16_t cParamsOpt;
    std::int16_t oVft;
    std::int16_t cScodes;
    ElemDesc elemdescFunc; ///< the result
    std::uint16_t wFuncFlags;
};
static_assert(sizeof(FuncDesc) == 88 && offsetof(FuncDesc, elemdescFunc) == 48);

struct VarDesc {
    DispId memid;
    OleChar* lpstrSchema;
    union {
        std::uint32_t oInst; ///< offset of a record's field
        Variant* lpvarValue; ///< an enumeration member
    };
    ElemDesc elemdescVar;
    std::uint16_t wVarFlags;
    std::int32_t varkind;
};
static_assert(sizeof(VarDesc) == 64);

struct IdlDesc {
    std::uintptr_t dwReserved;
    std::uint16_t wIDLFlags;
};

struct TypeAttr {
    Guid guid;
    Lcid lcid;
    std::uint32_t dwReserved;
    DispId memidConstructor, memidDestructor;
    OleChar* lpstrSchema;
    std::uint32_t cbSizeInstance;
    TypeKindCode typekind;
    std::uint16_t cFuncs, cVars, cImplTypes, cbSizeVft, cbAlignment, wTypeFlags, wMajorVerNum, wMinorVerNum;
    TypeDesc tdescAlias;
    IdlDesc idldescType;
};
static_assert(sizeof(TypeAttr) == 96);

// Interfaces. No virtual destructor: it would take places in the function table.

struct IUnknown {
    virtual HResult QueryInterface(const Guid& iid, void** object) noexcept = 0;
    virtual std::uint32_t AddRef() noexcept = 0;
    virtual std::uint32_t Release() noexcept = 0;

protected:
    ~IUnknown() = default;
};

struct IClassFactory : IUnknown {
    virtual HResult CreateInstance(IUnknown* outer, const Guid& iid, void** object) noexcept = 0;
    virtual HResult LockServer(std::int32_t lock) noexcept = 0;

protected:
    ~IClassFactory() = default;
};

struct IDispatch : IUnknown {
    virtual HResult GetTypeInfoCount(std::uint32_t* count) noexcept = 0;
    virtual HResult GetTypeInfo(std::uint32_t index, Lcid locale, ITypeInfo** info) noexcept = 0;
    virtual HResult GetIDsOfNames(const Guid& reserved, OleChar** names, std::uint32_t count, Lcid locale,
                                  DispId* ids) noexcept = 0;
    virtual HResult Invoke(DispId member, const Guid& reserved, Lcid locale, std::uint16_t flags, DispParams* params,
                           Variant* result, ExcepInfo* exception, std::uint32_t* badArgument) noexcept = 0;

protected:
    ~IDispatch() = default;
};

struct IEnumVariant : IUnknown {
    virtual HResult Next(std::uint32_t count, Variant* members, std::uint32_t* fetched) noexcept = 0;
    virtual HResult Skip(std::uint32_t count) noexcept = 0;
    virtual HResult Reset() noexcept = 0;
    virtual HResult Clone(IEnumVariant** clone) noexcept = 0;

protected:
    ~IEnumVariant() = default;
};

struct ITypeInfo : IUnknown {
    virtual HResult GetTypeAttr(TypeAttr** attributes) noexcept = 0;
    virtual HResult GetTypeComp(IUnknown** comp) noexcept = 0;
    virtual HResult GetFuncDesc(std::uint32_t index, FuncDesc** function) noexcept = 0;
    virtual HResult GetVarDesc(std::uint32_t index, VarDesc** variable) noexcept = 0;
    virtual HResult GetNames(DispId member, Bstr* names, std::uint32_t capacity, std::uint32_t* count) noexcept = 0;
    virtual HResult GetRefTypeOfImplType(std::uint32_t index, RefType* refType) noexcept = 0;
    virtual HResult GetImplTypeFlags(std::uint32_t index, std::int32_t* flags) noexcept = 0;
    virtual HResult GetIDsOfNames(OleChar** names, std::uint32_t count, DispId* ids) noexcept = 0;
    virtual HResult Invoke(void* instance, DispId member, std::uint16_t flags, DispParams* params, Variant* result,
                           ExcepInfo* exception, std::uint32_t* badArgument) noexcept = 0;
    virtual HResult GetDocumentation(DispId member, Bstr* name, Bstr* text, std::uint32_t* helpContext,
                                     Bstr* helpFile) noexcept = 0;
    virtual HResult GetDllEntry(DispId member, InvokeKind kind, Bstr* library, Bstr* name,
                                std::uint16_t* ordinal) noexcept = 0;
    virtual HResult GetRefTypeInfo(RefType refType, ITypeInfo** info) noexcept = 0;
    virtual HResult AddressOfMember(DispId member, InvokeKind kind, void** address) noexcept = 0;
    virtual HResult CreateInstance(IUnknown* outer, const Guid& iid, void** object) noexcept = 0;
    virtual HResult GetMops(DispId member, Bstr* mops) noexcept = 0;
    virtual HResult GetContainingTypeLib(IUnknown** library, std::uint32_t* index) noexcept = 0;
    virtual void ReleaseTypeAttr(TypeAttr* attributes) noexcept = 0;
    virtual void ReleaseFuncDesc(FuncDesc* function) noexcept = 0;
    virtual void ReleaseVarDesc(VarDesc* variable) noexcept = 0;

protected:
    ~ITypeInfo() = default;
};

struct IRecordInfo : IUnknown {
    virtual HResult RecordInit(void* record) noexcept = 0;
    virtual HResult RecordClear(void* record) noexcept = 0;
    virtual HResult RecordCopy(void* source, void* target) noexcept = 0;
    virtual HResult GetGuid(Guid* guid) noexcept = 0;
    virtual HResult GetName(Bstr* name) noexcept = 0;
    virtual HResult GetSize(std::uint32_t* size) noexcept = 0;
    virtual HResult GetTypeInfo(ITypeInfo** info) noexcept = 0;
    virtual HResult GetField(void* record, const OleChar* field, Variant* value) noexcept = 0;
    virtual HResult GetFieldNoCopy(void* record, const OleChar* field, Variant* value, void** data) noexcept = 0;
    virtual HResult PutField(std::uint32_t flags, void* record, const OleChar* field, Variant* value) noexcept = 0;
    virtual HResult PutFieldNoCopy(std::uint32_t flags, void* record, const OleChar* field,
                                   Variant* value) noexcept = 0;
    virtual HResult GetFieldNames(std::uint32_t* count, Bstr* names) noexcept = 0;
    virtual std::int32_t IsMatchingType(IRecordInfo* other) noexcept = 0;
    virtual void* RecordCreate() noexcept = 0;
    virtual HResult RecordCreateCopy(void* source, void** target) noexcept = 0;
    virtual HResult RecordDestroy(void* record) noexcept = 0;

protected:
    ~IRecordInfo() = default;
};

/// 0000xxxx-0000-0000-C000-000000000046, where the platform's own interfaces live.
constexpr Guid platformId(std::uint32_t number) noexcept {
    return {number, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
}

namespace ids {
inline constexpr Guid none{};
inline constexpr Guid unknown = platformId(0x00000000);
inline constexpr Guid classFactory = platformId(0x00000001);
inline constexpr Guid recordInfo = platformId(0x0000002F);
inline constexpr Guid dispatch = platformId(0x00020400);
inline constexpr Guid typeInfo = platformId(0x00020401);
inline constexpr Guid enumVariant = platformId(0x00020404);
} // namespace ids

// The entry points of a server library.
using GetClassObjectFunction = HResult (*)(const Guid& classId, const Guid& iid, void** object);
using EntryPoint = HResult (*)(); ///< DllCanUnloadNow, DllRegisterServer, DllUnregisterServer

} // namespace corveth::binary
