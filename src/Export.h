#pragma once
// VESKON_API marks what the DLL exports: dllexport while the library itself is built,
// dllimport for every program that uses it.
#ifdef VESKON_BUILDING_DLL
#define VESKON_API __declspec(dllexport)
#else
#define VESKON_API __declspec(dllimport)
#endif
