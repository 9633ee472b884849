// What the JSON files beside this one are made of; see make.

(* blackbox *)
module box #(parameter WIDTH = 2) (input [WIDTH-1:0] in, output out);
endmodule

(* whitebox *)
module white (input [1:0] in, output out);
  assign out = ^in;
endmodule

(* kep_name = "01", kep_equivalents = "0", kep_ip_root = 1 *)
module leaf (input [0:2] up, input [4:7] up_from_4, input [6:5] from_5, input signed one, output out);
endmodule

module names (input [1:0] \w.x , input alone, output joined, output also_joined);
  wire \a/b ;
  wire [1:0] \u.v:7 ;
  wire loose;
  (* kep_inst_header *) leaf \x/y:z (.up({\u.v:7 , 1'bz}), .up_from_4(4'b01x0), .from_5(\w.x ), .one(\a/b ), .out());
  leaf second (.out(\a/b ));
  assign \u.v:7 = \w.x ;
  assign also_joined = joined;
endmodule

module attributes;
  (* kep_inst_heder *) leaf first ();
  (* kep_inst_heder, kep_ip_root *) leaf second ();
  (* kep_blc_re_index = 3 *) wire loose;
endmodule

module box_with_parameters (input [4:0] x);
  box #(.WIDTH(5)) wide (.in(x), .out());
  box usual (.in(x[1:0]), .out());
endmodule

module cells_of_expressions (input clk, input a, input b, output reg q, output y);
  always @(posedge clk) q <= a;
  assign y = a & b;
endmodule

module white_box (input [1:0] x, output y);
  white w (.in(x), .out(y));
endmodule

module positions (input [1:0] x);
  box b (x);
endmodule

module instance_arrays (input [3:0] x);
  box b [1:0] (.in(x));
endmodule

module nothing_known (input x);
  not_there n (.in(x));
endmodule

module nothing_known_but_parameters (input x);
  not_there #(.WIDTH(1)) n (.in(x));
endmodule
