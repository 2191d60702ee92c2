//! Empty: the package exists to have xed-sys's build script run.
