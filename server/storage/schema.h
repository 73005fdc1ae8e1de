#pragma once

namespace tessly::server {

class Database;

// Creates the tables on first start; later versions add migrations here.
void applySchema(Database &db);

} // namespace tessly::server
