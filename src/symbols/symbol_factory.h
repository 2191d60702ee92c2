#pragma once

#include <atomic>
#include <cstdint>

class ktAliasType;
class ktArrayType;
class ktBasicType;
class ktCompUnit;
class ktComplexType;
class ktEnumMember;
class ktEnumType;
class ktFuncArg;
class ktFuncType;
class ktFunction;
class ktInlinedFunction;
class ktModifiedType;
class ktModule;
class ktRangeType;
class ktTypeMember;
class ktVariable;

/// Maker of all symbol objects of a session; gives each a new id and a default name made of it.
/// Every creation returns an object with one reference, or null without memory. Any thread.
class ktSymbolFactory {
public:
    std::atomic<uint64_t> nextId{0};
    bool indexNames = false; ///< new modules and units keep name tries

    ktModule *CreateModule();
    ktCompUnit *CreateCompUnit();
    ktFunction *CreateFunction();
    ktInlinedFunction *CreateInlinedFunction();
    ktVariable *CreateVariable();
    ktTypeMember *CreateTypeMember();
    ktEnumMember *CreateEnumMember();
    ktFuncArg *CreateFuncArg();
    ktBasicType *CreateBasicType();
    ktArrayType *CreateArrayType();
    ktEnumType *CreateEnumType();
    ktComplexType *CreateComplexType();
    ktModifiedType *CreateModifiedType();
    ktFuncType *CreateFuncType();
    ktRangeType *CreateRangeType();
    ktAliasType *CreateAliasType();
};
