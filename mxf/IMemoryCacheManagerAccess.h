// IMemoryCacheManagerAccess: how the cache manager reaches a client that reads through its pool.
//
// The manager calls these under its own lock, and only on the client it is serving, from inside
// that client's own Acquire: the calling thread holds the client's lock already, so an
// implementation may take its own recursive lock and nothing else. A client that loses its cache
// to another is not called at all (its lock would come after the manager's); it finds out from
// the cache's generation at its next look-up (see MBXMemoryCache).
#pragma once

class MBXMemoryCache;

class IMemoryCacheManagerAccess {
public:
    virtual ~IMemoryCacheManagerAccess() = default;
    // The client reads through `cache` from now on. Borrowed: the manager owns it.
    virtual void SetCache(MBXMemoryCache* cache) = 0;
    // The client has no cache any more.
    virtual void ClearCache() = 0;
};
