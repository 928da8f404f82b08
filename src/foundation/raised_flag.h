// raised_flag.h - a flag that is true while a scope lasts, however it ends.
#pragma once

class RaisedFlag_t {
  public:
    explicit RaisedFlag_t(bool& flag_) : flag(flag_) { flag = true; }
    ~RaisedFlag_t() { flag = false; }
    RaisedFlag_t(const RaisedFlag_t&) = delete;
    RaisedFlag_t& operator=(const RaisedFlag_t&) = delete;

  private:
    bool& flag;
};
