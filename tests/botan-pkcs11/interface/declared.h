// SPDX-FileCopyrightText: 2026 the authors of client-cert-initializer
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <initializer_list>
#include <type_traits>
#include <utility>

// Rows for tables of what a header declares, by type. A row that is not true does not compile; a function
// that is declared and not in the library does not link.

/// Refers to `value` in the object file, whatever the optimizer thinks of it.
template <typename T>
void keep(T value) {
  volatile T kept = value;
  static_cast<void>(kept);
}

/// Functions, static ones of classes too.
template <typename F>
void has(F* function) {
  keep(function);
}

/// Members of C, inherited ones too.
template <typename C, typename F>
void has(std::initializer_list<F C::*> members) {
  for (const auto member : members) keep(member);
}

/// Each type is the one after it.
template <typename... Types>
struct Same {};
template <typename Type, typename Expected, typename... More>
struct Same<Type, Expected, More...> : Same<More...> {
  static_assert(std::is_same<Type, Expected>::value, "another type");
};

template <typename T>
void take(const T&) {}

/// T is made from these, without being named: the constructor is not explicit.
template <typename T, typename... From>
struct Converts {
  static void make(From... from) { take<T>({static_cast<From>(from)...}); }
};

template <typename T, typename From>
struct Constructs {
  static_assert(!std::is_convertible<From, const T&>::value, "the constructor is explicit");
  static void make(From from) { take(T(from)); }
};

enum Trait {
  kCopies = 1,
  kMoves = 2,
  kAssigns = 4,
  kMoveAssigns = 8,
  kVirtual = 16,
  kAbstract = 32,
  kFinal = 64
};

/// T has these traits and no other.
template <typename T, int traits, typename... Bases>
struct Class {
  static_assert(std::is_nothrow_destructible<T>::value, "a destructor throws nothing");
  static_assert(traits == kCopies * std::is_copy_constructible<T>::value +
                              kMoves * std::is_move_constructible<T>::value +
                              kAssigns * std::is_copy_assignable<T>::value +
                              kMoveAssigns * std::is_move_assignable<T>::value +
                              kVirtual * std::has_virtual_destructor<T>::value +
                              kAbstract * std::is_abstract<T>::value + kFinal * __is_final(T),
                "other traits");
};

/// And it derives from these publicly, and from each once.
template <typename T, int traits, typename Base, typename... More>
struct Class<T, traits, Base, More...> : Class<T, traits, More...> {
  static_assert(std::is_convertible<T*, Base*>::value, "another base");
};
