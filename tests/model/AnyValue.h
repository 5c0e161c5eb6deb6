#pragma once

#include "framework/zel/Value.h"

#include <typeinfo>

/// A value of one of the model's types, for tests that know them only by their type information:
/// another one for each number from 1 to 9, but for bool, of which odd and even numbers give the
/// two; none is zero, but the bool of even numbers. Of keys, a greater number gives a greater key.
/// Throws std::invalid_argument for a type that the model has not.
Zel::Value anyValue(std::type_info const& type, unsigned number);

/// Fills an object and all under it through the generic attribute interface, in the order of
/// declaration: scalars with any values, each another; two children or entries of each attribute,
/// with the keys 1 and 2. Objects of one class become equal.
void fillTree(Zel::PtrInterface& object);
