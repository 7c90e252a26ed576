// Nothing: what the unit tests share are the headers that are precompiled for this source.
