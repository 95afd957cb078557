// Where the numbers of a profile's tables lie in the records, and which stand there without a
// profile: the way from text to record and back.
//
// A table's numbers stand in the order of its text (FactsOf tells how many there are, and their
// range). Lists have no record, and no layout.
#pragma once

#include <cstddef>
#include <vector>

#include "profile/attrib_tables.h"

// Bytes of the record that a table fills; 0 for a list. Two forms of one table fill one record.
std::size_t RecordBytes(ScanTable table);

// The numbers that stand when the profile doesn't give the table; null for a list, which is empty.
const double* FallbackOf(ScanTable table);

// Puts the table's numbers into its record and marks it valid. What no number of the table takes
// stays as it is. Fields of whole numbers cut a fraction off; those of one byte keep the low eight
// bits. The numbers lie in the table's range.
void PutNumbers(ScanTable table, const double* numbers, void* record);

// The table's numbers as its record holds them.
std::vector<double> TakeNumbers(ScanTable table, const void* record);
