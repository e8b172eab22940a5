#pragma once

#include "bench/Subject.h"

// The mail store beside the same SQL on a bare connection, each on a database of its own. Everything is made when it is
// first wanted.
namespace vesk::bench::probe {

// Ten thousand generated messages, parsed before, that go into an empty database at once; milliseconds. The bare
// statements are given the rows as they end up.
double mailInsert(Subject& subject);
double bareMailInsert(Subject& subject);

// The newest 50 of 100,000 messages of some 120 words that hold a word that one in five of them does.
double mailSearch(Subject& subject);
double bareMailSearch(Subject& subject);

}  // namespace vesk::bench::probe
