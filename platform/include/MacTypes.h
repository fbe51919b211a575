// Basic types that every Apple framework header builds on, with Apple's names and widths
// (LP64: UInt32 is an unsigned int, SInt64 a long long).
#ifndef ZAV_PLATFORM_MACTYPES_H
#define ZAV_PLATFORM_MACTYPES_H

#include <stddef.h>
#include <stdint.h>

typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
typedef unsigned int UInt32;
typedef signed int SInt32;
typedef unsigned long long UInt64;
typedef signed long long SInt64;

typedef float Float32;
typedef double Float64;

typedef UInt8 Byte;
typedef SInt8 SignedByte;
typedef char* Ptr;
typedef long Size;
typedef UInt8* BytePtr;
typedef unsigned long ByteCount;
typedef unsigned long ByteOffset;
typedef unsigned long ItemCount;
typedef UInt32 OptionBits;

typedef SInt16 OSErr;
typedef SInt32 OSStatus;

typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
typedef FourCharCode ResType;

typedef unsigned char Boolean;
typedef UInt16 UniChar;
typedef UInt32 UTF32Char;

typedef void* LogicalAddress;
typedef const void* ConstLogicalAddress;

enum { noErr = 0 };

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#endif
