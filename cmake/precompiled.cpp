// The source without content that a precompiled header is made with.
